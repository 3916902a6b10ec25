// SPDX-License-Identifier: BSL-1.0

// lipc ls, show and get: what they make of values, rings, damage and terminals.
#include <limits>
#include <regex>

#include "inspect/Rings.h"
#include "inspect/Snapshot.h"
#include "tests/support/BareSession.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;

struct Answer {
  explicit Answer(const std::string& arguments) {
    Process process({"/bin/sh", "-c", LIPC_COMMAND " " + arguments});
    process.waitForLine("a line that never comes", 40s);
    status = process.wait(5s);
    output = std::regex_replace(process.output(), std::regex(" +"), " ");
  }
  /// Any number of blanks counts as one.
  bool says(const std::string& text) const { return output.find(text) != std::string::npos; }
  int status;
  std::string output;
};

TEST(Rows, AValueHasANumberAndMayHaveANameAndADefault) {
  TestHost host;
  TestClient settings("settings", static_cast<int>(LIPC::cSettingsType));
  TestClient engine("engine", static_cast<int>(LIPC::cMixEngineType));
  engine.setOfflineParameter(52, 0.1F);
  engine.setOfflineParameter(80, std::numeric_limits<float>::quiet_NaN());
  ASSERT_TRUE(settings.join() && engine.join());
  settings.setString(0, "Stage\x1b");
  const std::string snapshot = testing::TempDir() + "rows.snapshot";
  std::ofstream(snapshot) << *inspect::takeSnapshot(*inspect::openMachine(), 0ms,
                                                    [](double) { return true; });
  settings.setString(0, "Stage C");
  for (const auto& [what, status, output] :
       {std::tuple{"settings facility", 0, "Stage C\n"},
        {"settings s0 --json", 0, "\"default\": \"Standard-Surround\""},
        {"engine 52", 0, "0.1\n"},
        {"engine p80", 0, "nan\n"},
        {"engine mda_renderer", 0, "\n"},
        {"engine MDA", 11, "name: MDA_Renderer (s1), MDA_Renderer_Cfg (s2). Type more.\n"},
        {"settings d", 11, "DAWLinkControlSetting (p33), defaultPannerObjects (p37)"},
        {"settings Solomod", 0, "3\n"},
        {"settings Facilyti", 11, "\"Facilyti\". Near it are: Facility (s0). Every"},
        {"engine p128", 11, "no parameter or string \"p128\""},
        {"engine s99999999999", 11, "p0 to p127 are parameters, s0 to s9 strings.\n"},
        {"engine ''", 11, "Its names are: Export_Path (s0)"},
        {"nobody 3", 6, "no client"}}) {
    const Answer get(std::string("get ") + what);
    EXPECT_EQ(get.status, status) << what;
    EXPECT_TRUE(get.says(output)) << what << ": " << get.output;
  }
  EXPECT_EQ(Answer("get settings s0 --from " + snapshot).output, "Stage\\x1b\n");
  EXPECT_TRUE(Answer("show settings --from " + snapshot).says("Stage\\x1b")) << "the whole client";
  const Answer shown("show engine");
  for (const char* line :
       {"\n*p52 0.1 3\n", "\n*p79 0 -1\n", "\n*s1 MDA_Renderer \"\" vbap.bundle\n",
        "\n s3 SwGrp_ObjectName_2Play \"\" \"\"\n"})
    EXPECT_TRUE(shown.says(line)) << line << shown.output;
  EXPECT_FALSE(shown.says("p80") || shown.says("p3 ")) << "at their defaults: " << shown.output;
  EXPECT_TRUE(Answer("show engine --all").says("\n p80 nan nan\n"));
}

TEST(Rows, ABlockFollowsTheOneBeforeOrDoesNot) {
  using Step = inspect::BlockStep;
  constexpr auto cMost = std::numeric_limits<std::int64_t>::max();
  inspect::RingPicture ring;
  EXPECT_EQ(inspect::stepBefore(ring, 0).kind, Step::eUnknown);
  EXPECT_EQ(inspect::newestAnswer(ring), inspect::eAnswer::eNotDue);
  for (inspect::SlicePicture& slice : ring.slices)
    slice.sampleCount = 256;
  const auto step = [&](std::int64_t stamp, std::int64_t before) {
    ring.slices[0].timeStamp = stamp;
    ring.slices[5].timeStamp = before;
    const Step found = inspect::stepBefore(ring, 0);
    return std::pair(found.kind, found.missedBlocks);
  };
  for (const auto& [stamp, before, kind, missed] :
       {std::tuple<std::int64_t, std::int64_t, Step::eKind, int>{256, 0, Step::eNext, 0},
        {258, 0, Step::eNext, 0},
        {253, 0, Step::eJump, 0},
        {766, 0, Step::eMissing, 2},
        {256 * 101, 0, Step::eJump, 0},
        {0, 256, Step::eJump, 0},
        {0, 0, Step::eJump, 0},
        {cMost, -cMost, Step::eJump, 0},
        {cMost, 0, Step::eJump, 0}})
    EXPECT_EQ(step(stamp, before), std::pair(kind, std::int64_t{missed})) << stamp;
  EXPECT_EQ(inspect::stepBefore(ring, 5).kind, Step::eUnknown) << "nothing is held before it";
  for (int age = 0; age < 6; ++age)
    ring.slices[static_cast<std::size_t>((6 - age) % 6)].timeStamp = 10'000 - 256 * age;
  EXPECT_EQ(inspect::newestAnswer(ring), inspect::eAnswer::eNotReady);
  ring.slices[2].isReady = true;
  EXPECT_EQ(inspect::newestAnswer(ring), inspect::eAnswer::eThere);
  ring.slices[2].timeStamp += 1;
  EXPECT_EQ(inspect::newestAnswer(ring), inspect::eAnswer::eNoSlice);
}

TEST(Rows, DamageIsASentenceAndAStatus) {
  BareSession session;
  Image row(3376);
  row.text(0, "client").text(72, std::string(61, '\xE2') + "\xC2\x9B\x7F").put(136, 0xFFFFFFFFU);
  row.text(656, std::string(2720, 'a')).copy(session.row(0), row.size());
  SystemSegment tooSmall("client", 100);
  EXPECT_TRUE(Answer("ls").says(" 0 client \\xe2\\xe2"));
  EXPECT_TRUE(Answer("ls --json").says("\\u009b\\u007f\""));
  EXPECT_TRUE(Answer("show client").says("unknown: its segment of 100 bytes is no client buffer"));
  EXPECT_EQ(Answer("show client").status, 0);
  std::memset(static_cast<void*>(&session.sessionList), 0xA5, sizeof session.sessionList);
  EXPECT_EQ(Answer("show client").status, 19);
  EXPECT_TRUE(Answer("show client").says("lipc: the connections cannot be read: "));
  std::memset(session.row(0), 0xFF, 1024 * row.size());
  for (const char* command : {"ls", "ls --ids", "ls --json", "show client", "get client 3"}) {
    const Answer said(command);
    EXPECT_EQ(said.status, 19) << said.output;
    EXPECT_TRUE(said.says("all of its 1024 rows have the same ID"));
  }
  const Answer doctor("doctor --quick");
  EXPECT_TRUE(doctor.says("[table-damaged]") && !doctor.says("client-dead")) << doctor.output;
}

TEST(Rows, ColoursAreForTerminalsThatWantThem) {
  TestHost host;
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const std::string to = std::string(" lipc ls > ") + ptsname(terminal);
  for (const auto& [set, isColoured] :
       {std::pair{"TERM=xterm", true}, {"TERM=xterm NO_COLOR=1", false}, {"TERM=dumb", false}}) {
    const std::string lipc = LIPC_COMMAND;
    EXPECT_EQ(Process({"/bin/sh", "-c", std::string(set) + " " + lipc + to.substr(5)}).wait(15s),
              0);
    char bytes[4096];
    const ssize_t count = read(terminal, bytes, sizeof bytes);
    EXPECT_EQ(std::string(bytes, count > 0 ? count : 0).find("\033[32m") != std::string::npos,
              isColoured)
        << set;
  }
  close(terminal);
}

}  // namespace
