// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/ClientBuffer.h"

#include <ctime>
#include <stdexcept>

#include <boost/date_time/posix_time/posix_time.hpp>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/SessionNames.h"
#include "lipc/util/FixedText.h"

namespace LIPC {
namespace {

constexpr unsigned cMutexTimeoutMS = 1000;
constexpr long cStaleMicroseconds = 4'000'000;

std::string named(const char* clientID, const char* suffix) {
  return ClientID(clientID).text() + suffix;
}

/// Posts a semaphore that is used as a mutex when the scope ends, however it ends.
class PostAtEnd {
 public:
  explicit PostAtEnd(SemaphoreHandle& handle) : mHandle(handle) {}
  ~PostAtEnd() { mHandle.post(); }
  PostAtEnd(const PostAtEnd&) = delete;
  PostAtEnd& operator=(const PostAtEnd&) = delete;

 private:
  SemaphoreHandle& mHandle;
};

}  // namespace

ClientBuffer::ClientBuffer(const char* clientID)
    : id(clientID),
      type(0),
      mode(0),
      mustDisconnectSemaphore(named(clientID, cMustDisconnectSuffix).c_str(), 0),
      keepAliveMutex(named(clientID, cKeepAliveMutexSuffix).c_str(), 1) {
  newDataQueue.reset();
  keepAlive();
}

ClientBuffer::~ClientBuffer() {
  SemaphoreHandle(mustDisconnectSemaphore).clear();
}

void ClientBuffer::keepAlive() {
  SemaphoreHandle mutex(keepAliveMutex);
  keepAlive(mutex);
}

bool ClientBuffer::keepAlive(SemaphoreHandle& mutex) {
  if (!mutex.try_wait()) return false;
  const PostAtEnd post(mutex);
  setFixedText(keepAliveTimestamp, boost::posix_time::to_iso_string(currentTime()));
  return true;
}

int ClientBuffer::isAlive() {
  SemaphoreHandle mutex(keepAliveMutex);
  if (!mutex.timed_wait(cMutexTimeoutMS)) return eAliveUnknown;
  const PostAtEnd post(mutex);
  return judgeStamp(fixedText(keepAliveTimestamp), currentTime());
}

eAlive ClientBuffer::judgeStamp(const std::string& stamp, const boost::posix_time::ptime& now) {
  const boost::posix_time::time_duration age = now - boost::posix_time::from_iso_string(stamp);
  if (age.is_neg_infinity()) return eAliveFresh;
  if (age.is_special()) return eAliveStale;
  return age < boost::posix_time::microseconds(cStaleMicroseconds) ? eAliveFresh : eAliveStale;
}

boost::posix_time::ptime ClientBuffer::currentTime() {
  const std::time_t seconds = std::time(nullptr);
  std::tm utc{};
  if (gmtime_r(&seconds, &utc) == nullptr) {
    throw std::runtime_error("could not convert calendar time to UTC time");
  }
  return boost::posix_time::ptime(
      boost::gregorian::date_from_tm(utc),
      boost::posix_time::time_duration(utc.tm_hour, utc.tm_min, utc.tm_sec));
}

std::string_view ClientBuffer::stampText() const {
  return fixedTextView(keepAliveTimestamp);
}

}  // namespace LIPC
