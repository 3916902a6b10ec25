// SPDX-License-Identifier: BSL-1.0
#include <gtest/gtest.h>
#include <syslog.h>

#include "lipc/util/Log.h"
#include "tests/support/SyslogCapture.h"

namespace {

using namespace testing::internal;

TEST(Log, TheLevelChoosesTagAndDestinationsAndWhatIsTooLongIsCutBeforeTheLineFeed) {
  const std::string time = "[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}\\.[0-9]{6} ";
  const std::string beginnings[] = {"<INFO> ", "<WARN> here ", "<ERRO> here ", "here "};
  for (const std::string& text : {std::string("5%"), std::string(600, '%')})
    for (int level = 0; level < 4; ++level) {
      const support::SyslogCapture system;
      CaptureStdout();
      CaptureStderr();
      Lct::Log(static_cast<Lct::eLogLevel>(level), level ? "here" : nullptr, "%s", text.c_str());
      const std::string out = GetCapturedStdout();
      EXPECT_TRUE(RE::FullMatch(out, time + beginnings[level] + "5?%+\n")) << out;
      EXPECT_TRUE(text.size() < 3 || out.size() == Lct::cLogBufferBytes - 1) << out;
      EXPECT_EQ(GetCapturedStderr(), level == 0 ? "" : out);
      EXPECT_EQ(system.count(out), level == 0 ? 0 : 1);
      EXPECT_TRUE(level == 0 || system.messages().at(0).priority == LOG_WARNING);
    }
  CaptureStderr();
  Lct::debugLog("here", "%s", std::string(600, 'm').c_str());
  EXPECT_EQ(GetCapturedStderr(), "(here) " + std::string(492, 'm') + "\n");
}

}  // namespace
