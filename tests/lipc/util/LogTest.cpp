#include <regex>

#include <gtest/gtest.h>
#include <syslog.h>

#include "lipc/util/Log.h"
#include "tests/support/SyslogCapture.h"

namespace {

struct Written {
  std::string out, err;
  std::vector<support::SyslogCapture::Message> system;
};

template <class Write>
Written writtenBy(Write write) {
  using namespace testing::internal;
  const support::SyslogCapture system;
  CaptureStdout();
  CaptureStderr();
  write();
  return {GetCapturedStdout(), GetCapturedStderr(), system.messages()};
}

bool isLine(const std::string& line, const std::string& afterTime) {
  const std::string time = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{6} ";
  return std::regex_match(line, std::regex(time + afterTime + "\n"));
}

TEST(Log, InformationGoesToStandardOutputOnlyAndANullSourceLeavesNoField) {
  const Written w = writtenBy([] { Lct::Log(Lct::eLogInfo, nullptr, "x %d", 42); });
  EXPECT_TRUE(isLine(w.out, "<INFO> x 42")) << w.out;
  EXPECT_TRUE(w.err.empty() && w.system.empty());
}

TEST(Log, EveryOtherLevelGoesToBothStreamsAndAsAWarningToTheSystemLog) {
  for (int level = 1; level <= 3; ++level) {
    const char* tag = level == 1 ? "<WARN> " : level == 2 ? "<ERRO> " : "";
    const Written w =
        writtenBy([&] { Lct::Log(static_cast<Lct::eLogLevel>(level), "here", "50%%"); });
    EXPECT_TRUE(isLine(w.err, std::string(tag) + "here 50%")) << w.err;
    EXPECT_EQ(w.out, w.err);
    ASSERT_EQ(w.system.size(), 1u);
    EXPECT_EQ(w.system[0].text, w.err);
    EXPECT_EQ(w.system[0].priority, LOG_WARNING);
  }
}

TEST(Log, WhatIsTooLongIsCutAndKeepsItsLineFeed) {
  const std::string longText(600, 'm');
  const Written w =
      writtenBy([&] { Lct::Log(Lct::eLogInfo, longText.c_str(), "%s", longText.c_str()); });
  EXPECT_EQ(w.out.size(), Lct::cLogBufferBytes - 1);
  EXPECT_TRUE(isLine(w.out, "<INFO> m+")) << w.out;
  const Written debug = writtenBy([&] { Lct::debugLog("here", "%s", longText.c_str()); });
  EXPECT_TRUE(std::regex_match(debug.err, std::regex("\\(here\\) m{480,}\n"))) << debug.err;
  EXPECT_TRUE(debug.out.empty() && debug.system.empty());
}

}  // namespace
