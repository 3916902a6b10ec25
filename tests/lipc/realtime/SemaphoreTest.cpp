#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>
#include <semaphore.h>
#include <syslog.h>

#include "lipc/realtime/Semaphore.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "tests/support/SyslogCapture.h"

namespace {

using namespace LIPC;
using Clock = std::chrono::steady_clock;

auto semaphoresInSystem() {
  std::error_code none;
  return std::distance(std::filesystem::directory_iterator("/dev/shm", none), {});
}

TEST(Semaphore, ThePlatformNameIsTheChecksumAndCharactersEightToTwentyEight) {
  const std::pair<std::string, const char*> names[] = {
      {"LIPC_SESSIONRegistrationSemaphore", "?57?:02?SIONRegistrationSemap"},
      {"Short", "7<86?627"},
      {"Nine56789", "<;?95:=99"},
      {std::string(200, 'x'), "00?0?079xxxxxxxxxxxxxxxxxxxxx"},  // the 128th byte is always NUL
  };
  for (const auto& [name, platformName] : names) {
    const Semaphore record(name.c_str(), 0);
    EXPECT_STREQ(record.posixName, platformName);
    EXPECT_EQ(record.name, name.substr(0, 127));
    EXPECT_TRUE(record.isWellFormed());
  }
}

TEST(Semaphore, RecordsOfOnePlatformNameShareOneSemaphore) {
  const Semaphore first("One name up to character thirty-two: abcd efgh", 0);
  const Semaphore second("One name up to character thirty-two: efgh abcd", 0);
  SemaphoreHandle poster(first), waiter(second);
  EXPECT_FALSE(waiter.try_wait());
  poster.post();
  EXPECT_TRUE(waiter.try_wait());
  EXPECT_FALSE(poster.try_wait());
}

TEST(Semaphore, ANewRecordStartsAfreshAndItsEndTakesTheNameAway) {
  constexpr char cPlatformName[] = "/7<86?627";
  {
    const Semaphore old("Short", 5);
    SemaphoreHandle oldHandle(old);
    const Semaphore record("Short", 1);
    SemaphoreHandle handle(record);
    EXPECT_TRUE(handle.try_wait());
    EXPECT_FALSE(handle.try_wait());
    EXPECT_NE(sem_open(cPlatformName, 0), SEM_FAILED);
  }
  EXPECT_EQ(sem_open(cPlatformName, 0), SEM_FAILED);
}

TEST(Semaphore, FromAMalformedRecordNothingIsOpenedAndEveryOperationSaysSo) {
  Semaphore garbage("Garbage", 1), endless("Endless", 1), path("Name with a/slash", 1);
  std::memset(static_cast<void*>(&garbage), 0xFF, sizeof garbage);
  std::memset(endless.posixName, '9', sizeof endless.posixName);
  const auto before = semaphoresInSystem();
  for (const Semaphore* record : {&garbage, &endless, &path}) {
    const support::SyslogCapture log;
    SemaphoreHandle handle(*record);
    handle.wait();
    EXPECT_TRUE(handle.timed_wait(60'000));
    EXPECT_TRUE(handle.try_wait());
    handle.post();
    handle.clear();
    const auto messages = log.messages();
    ASSERT_EQ(messages.size(), 6u);
    const std::string name(record->name, strnlen(record->name, sizeof record->name));
    EXPECT_EQ(messages[0].text, "SemaphoreHandle CREATION ERROR for " + name);
    const std::string operations[] = {"wait", "timed_wait", "try_wait", "post", "clear"};
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(messages[i + 1].text,
                "SemaphoreHandle (zero) " + operations[i] + " ERROR for " + name);
      EXPECT_EQ(messages[i + 1].priority, LOG_WARNING);
    }
  }
  EXPECT_EQ(semaphoresInSystem(), before);
}

TEST(Semaphore, ErrorsOfTheSystemAreLoggedWithTheirCodeAndNotThrown) {
  const support::SyslogCapture log;
  const Semaphore full("Full", SEM_VALUE_MAX), tooMuch("TooMuch", SEM_VALUE_MAX + 1u);
  SemaphoreHandle(full).post();
  EXPECT_FALSE(SemaphoreHandle(tooMuch).isOpen());
  ASSERT_EQ(log.messages().size(), 2u);
  EXPECT_EQ(log.messages()[0].text.rfind("SemaphoreHandle post ERROR = ", 0), 0u);
  EXPECT_EQ(log.messages()[1].text.rfind("SemaphoreHandle CREATION ERROR = ", 0), 0u);
}

TEST(Semaphore, ATimedWaitEndsWithTheCountOrAtItsTime) {
  const Semaphore record("Timed", 1);
  SemaphoreHandle handle(record);
  EXPECT_TRUE(handle.timed_wait(60'000));
  const auto start = Clock::now();
  EXPECT_FALSE(handle.timed_wait(100));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(95));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
