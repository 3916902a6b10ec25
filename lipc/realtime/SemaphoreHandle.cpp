// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/SemaphoreHandle.h"

#include <cerrno>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/interprocess/sync/named_semaphore.hpp>
#include <syslog.h>

#include "lipc/util/FixedText.h"

namespace LIPC {
namespace {

namespace bip = boost::interprocess;

// Logging locks and calls the system. deliberate, also on the audio thread, where a handle in error
// logs with every block: somebody has to mend the machine. Nothing here can throw.

int lengthOf(const Semaphore& record) noexcept {
  return static_cast<int>(fixedTextView(record.name).size());
}

void reportZeroHandle(const Semaphore& record, const char* operation) noexcept {
  const DeliberateSystemCall logging;
  syslog(LOG_WARNING, "SemaphoreHandle (zero) %s ERROR for %.*s", operation, lengthOf(record),
         record.name);
}

void reportError(const Semaphore& record, const char* operation, int code) noexcept {
  const DeliberateSystemCall logging;
  syslog(LOG_WARNING, "SemaphoreHandle %s ERROR = %d for %.*s", operation, code, lengthOf(record),
         record.name);
}

void reportCreationError(const Semaphore& record) noexcept {
  syslog(LOG_WARNING, "SemaphoreHandle CREATION ERROR for %.*s", lengthOf(record), record.name);
}

/// Runs a wait again when a signal ended it. Any other error of Boost's is logged and answered with
/// `onError`.
template <class Operation>
bool guarded(const Semaphore& record, const char* name, bool onError, Operation operation) {
  for (;;) {
    try {
      return operation();
    } catch (const bip::interprocess_exception& error) {
      if (error.get_native_error() == EINTR) continue;
      reportError(record, name, static_cast<int>(error.get_error_code()));
      return onError;
    }
  }
}

/// Opening comes first: what opens or creates makes a semaphore before it looks for one, which
/// takes several times as long.
std::unique_ptr<bip::named_semaphore> openOrCreate(const Semaphore& record) {
  try {
    return std::make_unique<bip::named_semaphore>(bip::open_only, record.posixName);
  } catch (const bip::interprocess_exception&) {
    return std::make_unique<bip::named_semaphore>(bip::open_or_create, record.posixName,
                                                  record.initialCount, bip::permissions(0666));
  }
}

}  // namespace

SemaphoreHandle::SemaphoreHandle(const Semaphore& semaphore) : mRecord(semaphore) {
  if (!semaphore.isWellFormed()) {
    reportCreationError(semaphore);
    return;
  }
  try {
    mSemaphore = openOrCreate(semaphore);
  } catch (const bip::interprocess_exception& error) {
    mError = error.get_native_error();
    reportError(semaphore, "CREATION", static_cast<int>(error.get_error_code()));
  } catch (...) {
    reportCreationError(semaphore);
  }
}

SemaphoreHandle::~SemaphoreHandle() = default;

void SemaphoreHandle::wait() {
  if (mSemaphore == nullptr) return reportZeroHandle(mRecord, "wait");
  guarded(mRecord, "wait", true, [this] {
    mSemaphore->wait();
    return true;
  });
}

bool SemaphoreHandle::timed_wait(unsigned ms) {
  if (mSemaphore == nullptr) {
    reportZeroHandle(mRecord, "timed_wait");
    return true;
  }
  const auto deadline =
      boost::posix_time::microsec_clock::universal_time() + boost::posix_time::milliseconds(ms);
  return guarded(mRecord, "timed_wait", true, [&] { return mSemaphore->timed_wait(deadline); });
}

// The system's own try and post neither wait nor lock; they only lack the mark. The log is reached
// by a handle in error alone.
LIPC_UNCHECKED_BEGIN

bool SemaphoreHandle::try_wait() noexcept {
  if (mSemaphore == nullptr) {
    reportZeroHandle(mRecord, "try_wait");
    return true;
  }
  return guarded(mRecord, "try_wait", true, [this] { return mSemaphore->try_wait(); });
}

void SemaphoreHandle::post() noexcept {
  if (mSemaphore == nullptr) return reportZeroHandle(mRecord, "post");
  guarded(mRecord, "post", true, [this] {
    mSemaphore->post();
    return true;
  });
}

LIPC_UNCHECKED_END

void SemaphoreHandle::clear() {
  if (mSemaphore == nullptr) return reportZeroHandle(mRecord, "clear");
  while (try_wait()) {
  }
}

}  // namespace LIPC
