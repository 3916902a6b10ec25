#include <cstring>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/util/FixedText.h"

namespace {

using namespace LIPC;
using boost::posix_time::ptime;
using Clock = std::chrono::steady_clock;

TEST(ClientBuffer, AStampIsStaleFromFourSecondsOn) {
  const ptime now = boost::posix_time::from_iso_string("20240301T000003");
  const std::pair<const char*, eAlive> stamps[] = {
      {"20240301T000000", eAliveFresh},  // 3 s
      {"20240229T235959", eAliveStale},  // 4 s, over midnight and the leap day
      {"20250101T000000", eAliveFresh},  // in the future
      {"not-a-date-time", eAliveStale}, {"-infinity", eAliveStale}, {"+infinity", eAliveFresh},
  };
  for (const auto& [stamp, alive] : stamps)
    EXPECT_EQ(ClientBuffer::judgeStamp(stamp, now), alive) << stamp;
  EXPECT_EQ(ClientBuffer::judgeStamp("20240301T000000", ptime()), eAliveStale);
}

TEST(ClientBuffer, IsAliveFromTheStartUntilItsStampAges) {
  ClientBuffer buffer("ClientBufferTest");
  EXPECT_EQ(buffer.stampText().size(), 15u);
  EXPECT_EQ(buffer.isAlive(), eAliveFresh);
  const auto before = ClientBuffer::currentTime() - boost::posix_time::seconds(5);
  setFixedText(buffer.keepAliveTimestamp, boost::posix_time::to_iso_string(before));
  EXPECT_EQ(buffer.isAlive(), eAliveStale);
  buffer.keepAlive();
  EXPECT_EQ(buffer.isAlive(), eAliveFresh);
}

TEST(ClientBuffer, AStampThatIsNoTimeThrowsAndLeavesTheMutexFree) {
  ClientBuffer buffer("ClientBufferTest");
  for (const int filling : {0x58, 0xFF}) {
    std::memset(buffer.keepAliveTimestamp, filling, sizeof buffer.keepAliveTimestamp);
    EXPECT_ANY_THROW(buffer.isAlive());
    SemaphoreHandle mutex(buffer.keepAliveMutex);
    EXPECT_TRUE(mutex.try_wait());
    EXPECT_FALSE(mutex.try_wait());
    mutex.post();
  }
}

TEST(ClientBuffer, WhileTheMutexIsHeldTheStampStaysAndNobodyKnows) {
  ClientBuffer buffer("ClientBufferTest");
  SemaphoreHandle mutex(buffer.keepAliveMutex);
  EXPECT_TRUE(mutex.try_wait());
  setFixedText(buffer.keepAliveTimestamp, "20000101T000000");
  const auto start = Clock::now();
  buffer.keepAlive();
  EXPECT_EQ(buffer.stampText(), "20000101T000000");
  EXPECT_EQ(buffer.isAlive(), eAliveUnknown);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(950));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
  EXPECT_FALSE(mutex.try_wait());
}

TEST(ClientBuffer, ItsEndDrainsAndUnlinksItsSemaphores) {
  std::optional<ClientBuffer> buffer("ClientBufferTest");
  const Semaphore& record = buffer->mustDisconnectSemaphore;
  SemaphoreHandle handle(record);
  handle.post();
  buffer.reset();
  EXPECT_FALSE(handle.try_wait());
}

}  // namespace
