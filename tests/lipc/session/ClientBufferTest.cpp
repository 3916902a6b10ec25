// SPDX-License-Identifier: BSL-1.0
#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include "lipc/client/OwnBuffer.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/util/FixedText.h"

namespace {

using namespace LIPC;

TEST(ClientBuffer, AStampIsStaleFromFourSecondsOn) {
  const auto now = boost::posix_time::from_iso_string("20240301T000003");
  EXPECT_EQ(ClientBuffer::judgeStamp("20240301T000000", now), eAliveFresh);
  EXPECT_EQ(ClientBuffer::judgeStamp("20240229T235959", now), eAliveStale);
  EXPECT_EQ(ClientBuffer::judgeStamp("not-a-date-time", now), eAliveStale);
  EXPECT_EQ(ClientBuffer::judgeStamp("+infinity", now), eAliveFresh);
}

TEST(ClientBuffer, AnUnreadableStampThrowsAndItsMutexComesBack) {
  const auto buffer = std::make_unique<ClientBuffer>("ClientBufferTest");
  EXPECT_EQ(buffer->isAlive(), eAliveFresh);
  setFixedText(buffer->keepAliveTimestamp, std::string(64, '9'));
  EXPECT_ANY_THROW(buffer->isAlive());
  EXPECT_TRUE(SemaphoreHandle(buffer->keepAliveMutex).try_wait());
}

TEST(ClientBuffer, ItsStampIsNeitherWrittenNorReadWhileItsMutexIsHeldAndItsEndTakesWhatWasAsked) {
  auto buffer = std::make_unique<ClientBuffer>("ClientBufferTest");
  SemaphoreHandle mutex(buffer->keepAliveMutex), disconnect(buffer->mustDisconnectSemaphore);
  setFixedText(buffer->keepAliveTimestamp, std::string(64, '9'));
  EXPECT_TRUE(mutex.try_wait());
  buffer->keepAlive();
  EXPECT_EQ(buffer->stampText(), std::string(64, '9'));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(buffer->isAlive(), eAliveUnknown);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(950));
  mutex.post();
  buffer->keepAlive();
  EXPECT_TRUE(buffer->isAlive() == eAliveFresh && mutex.try_wait());
  disconnect.post();
  buffer.reset();
  EXPECT_FALSE(disconnect.try_wait());
}

TEST(OwnBuffer, RefreshesItsStampWithTheMutexThatItsNameLeadsToAndNotWithOneOfBefore) {
  OwnBuffer own("OwnBufferTest", sizeof(ClientBuffer));
  const auto isRefreshed = [&] {
    setFixedText(own->keepAliveTimestamp, "");
    own.keepAlive();
    return !own->stampText().empty();
  };
  auto old = std::make_unique<SemaphoreHandle>(own->keepAliveMutex);
  EXPECT_TRUE(isRefreshed());
  EXPECT_TRUE(old->try_wait());
  EXPECT_FALSE(isRefreshed()) << "a reader holds it";
  Semaphore::unlink("OwnBufferTestmKeepAliveTimestampMutex");  // and dies, and it is made anew
  EXPECT_TRUE(isRefreshed());
  Semaphore::unlink("OwnBufferTestmKeepAliveTimestampMutex");
  SemaphoreHandle made(own->keepAliveMutex);
  EXPECT_TRUE(made.try_wait());
  int passes = 0;
  while (passes < OwnBuffer::cPassesPerOpening && isRefreshed())
    ++passes;
  EXPECT_LT(passes, OwnBuffer::cPassesPerOpening) << "it is opened again though it can be had";
  made.post();
  EXPECT_TRUE(isRefreshed());
}

}  // namespace
