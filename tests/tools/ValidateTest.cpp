// SPDX-License-Identifier: BSL-1.0

// lipc validate with the module, which is as it should be, and with a library of many faults.
#include <regex>

#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/TestHost.h"

namespace {

using nlohmann::json;
using namespace support;

std::vector<std::string> command(const char* library, const std::vector<std::string>& checks) {
  std::vector<std::string> words{LIPC_COMMAND, "validate", "--times", "3", "--timeout", "1"};
  for (const std::string& check : checks)
    words.insert(words.end(), {"--only", check});
  words.emplace_back(library);
  return words;
}

/// Its exit status and what it printed.
std::pair<int, std::string> run(std::vector<std::string> words) {
  Process process(std::move(words));
  process.waitForLine("a line that never comes", 60s);
  const int status = process.wait(5s);
  return {status, process.output()};
}

TEST(Validate, AFaultFailsTheCheckThatFindsItWithItsEvidence) {
  struct Fault {
    const char *name, *check, *evidence;
  };
  for (const auto& [name, check, evidence] :
       {Fault{"crash", "cycles", "ended by signal 11 .SIGSEGV. in cycle 1 of 3: loadLibrary"},
        {"hang", "cycles", "did not come back from cycle 1 of 3: loadLibrary within 1 s"},
        {"exit", "cycles", "called exit.3. in cycle 1 of 3: loadLibrary"},
        {"thread", "cycles", "after unloadLibrary in cycle 1 there is still 1 thread .[0-9]"},
        {"file", "cycles", "after 3 cycles .* there are: 3 open files .*/dev/null"},
        {"version", "version", "getLIPCVersion returned 4; this protocol has version 5"},
        {"type", "type", "getClientType returned 0x00000005, which is not four printable"},
        {"write", "processor", "the processor wrote outside its block of 172 parameters"},
        {"null", "processor", "ended by signal 11 .SIGSEGV. in slot 8 updateOutput"},
        {"throw", "processor", "an exception of unknown type came out of slot 11 process"},
        {"rude", "join", "there is no segment \"rude\""},
        {"rude", "lock-held", "the client joined a host that held the registration lock"}}) {
    setenv("LIPC_FAULT", name, 1);
    auto words = command(LIPC_FAULTY_LIBRARY, {"functions", check});
    words.emplace_back("--json");
    const auto [status, output] = run(words);
    EXPECT_EQ(status, 15) << name;
    const json report = json::parse(output.substr(0, output.rfind('}') + 1), nullptr, false);
    ASSERT_EQ(report.value("failed", 0), 1) << name << output;
    EXPECT_EQ(report["passed"], 1) << name;
    const std::string said = report["checks"][1]["evidence"];
    EXPECT_TRUE(std::regex_search(said, std::regex(evidence))) << name << ": " << said;
  }
}

TEST(Validate, TheModulePassesAndTheReportsSaySo) {
  const std::string file = testing::TempDir() + "report.xml";
  auto words = command(LIPC_MODULE, {"load", "functions", "version", "type", "processor", "cycles",
                                     "join", "leave", "restarted"});
  words.insert(words.end(), {"--junit", file});
  const auto [status, output] = run(words);
  EXPECT_EQ(status, 0) << output;
  EXPECT_NE(output.find("\nNo certificate, which takes all checks: 9 of 9 checks passed, in "),
            std::string::npos)
      << output;
  std::ifstream junit(file);
  const std::string xml(std::istreambuf_iterator<char>(junit), {});
  EXPECT_NE(xml.find("<testsuites tests=\"9\" failures=\"0\" errors=\"0\" skipped=\"0\" "),
            std::string::npos)
      << xml;
}

TEST(Validate, WhatIsNoLibraryEndsItAndALivingSessionIsNotTouched) {
  EXPECT_EQ(run(command("/missing.so", {})).first, 4);
  const auto [status, output] = run(command("/dev/null", {}));
  EXPECT_EQ(status, 4);
  EXPECT_NE(output.find("Not certified: 0 of 16 checks passed, 15 were skipped"), std::string::npos)
      << output;
  TestHost host;
  EXPECT_EQ(run(command(LIPC_MODULE, {})).first, 3);
}

TEST(Validate, InterruptedItLeavesNothing) {
  Process process({"/bin/sh", "-c", "exec " LIPC_COMMAND " validate --only silent " LIPC_MODULE});
  ASSERT_TRUE(eventually(10s, [] {
    return LIPC::ShmManaged::find("VexoSettings") && LIPC::ShmManaged::find(LIPC::cSessionSegment);
  }));
  process.signal(SIGINT);
  EXPECT_TRUE(process.waitForLine("lipc: interrupted", 10s)) << process.output();
  EXPECT_EQ(process.wait(5s), 1);
  for (const char* name : {"VexoSettings", "VexoSettings-send", LIPC::cSessionSegment})
    EXPECT_FALSE(LIPC::ShmManaged::find(name)) << name;
}

}  // namespace
