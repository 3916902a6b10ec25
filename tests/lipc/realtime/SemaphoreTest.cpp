// SPDX-License-Identifier: BSL-1.0
#include <gtest/gtest.h>
#include <semaphore.h>

#include "lipc/realtime/SemaphoreHandle.h"
#include "tests/support/SyslogCapture.h"

namespace {

using namespace LIPC;

TEST(Semaphore, NewRecordsOfOneNameShareAFreshSemaphoreUntilTheLastOneEnds) {
  {
    const Semaphore old("Short", 5);
    const SemaphoreHandle leftBehind(old);
    const Semaphore record("Short", 1), twin("Short", 1);
    SemaphoreHandle poster(record), waiter(twin);
    EXPECT_TRUE(waiter.try_wait() && !poster.timed_wait(10));
    poster.post();
    EXPECT_TRUE(waiter.timed_wait(60'000));
  }
  EXPECT_EQ(sem_open("/7<86?627", 0), SEM_FAILED);
}

TEST(Semaphore, FromAMalformedRecordNothingIsOpenedAndEveryOperationSaysSo) {
  Semaphore plain("Plain", 1), path("A name, /", 1), endless("A name of thirty characters ok", 1);
  plain.posixName[0] = '\xFF';
  endless.posixName[29] = 'x';
  for (const Semaphore* record : {&plain, &endless, &path}) {
    const support::SyslogCapture log;
    SemaphoreHandle handle(*record);
    handle.wait();
    EXPECT_TRUE(handle.timed_wait(60'000) && handle.try_wait());
    handle.post();
    handle.clear();
    const std::string name = record->name, zero = "SemaphoreHandle (zero) ";
    EXPECT_EQ(log.count("SemaphoreHandle CREATION ERROR for " + name), 1);
    for (const char* operation : {"wait", "timed_wait", "try_wait", "post", "clear"})
      EXPECT_EQ(log.count(zero + operation + " ERROR for " + name), 1) << operation;
  }
}

}  // namespace
