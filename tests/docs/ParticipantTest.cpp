// SPDX-License-Identifier: BSL-1.0

// examples/participant.py, which is written from docs/contract.md alone, takes part as any client.
#include <nlohmann/json.hpp>

#include "lipc/session/SegmentNames.h"
#include "lipc/session/ShmManaged.h"
#include "tests/support/Process.h"

namespace {

using namespace support;

std::string lipc(const std::string& arguments) {
  Process process({"/bin/sh", "-c", LIPC_COMMAND " " + arguments});
  process.waitForLine("a line that never comes", 20s);
  return process.output();
}

/// What is left of a client, or of anybody where the ID is empty: segments and files of semaphores.
std::string remains(const std::string& id) {
  std::string all;
  for (const std::string& name : LIPC::segmentNamesOf(LIPC::ClientID(id)))
    if (!id.empty() && LIPC::ShmManaged::find(name.c_str())) all += name + " ";
  for (const auto& file : std::filesystem::directory_iterator("/dev/shm")) {
    const std::string name = file.path().filename().string();
    if (id.empty() || name.find("eepAlive") != name.npos || name.find("ientMust") != name.npos)
      all += name + " ";
  }
  return all;
}

TEST(PythonParticipant, JoinsPlaysHearsFollowsAndLeavesNothing) {
  if (std::string(LIPC_PYTHON).empty()) GTEST_SKIP() << "there is no Python";
  const std::vector<std::string> program = {LIPC_PYTHON, LIPC_PYTHON_PARTICIPANT};
  Process python(program);
  EXPECT_TRUE(python.waitForLine("waits for a host: there is none", 10s));
  Process host({LIPC_COMMAND, "host", "--json"});
  ASSERT_TRUE(python.waitForLine("joined as python", 10s)) << python.output();
  Process namesake(program);
  EXPECT_TRUE(namesake.waitForLine("\"python\" is in the session", 10s)) << namesake.output();
  namesake.signal(SIGTERM);
  EXPECT_EQ(namesake.wait(5s), 1) << "it never joined";

  Process tone({LIPC_EXAMPLES "/tone", "--to", "python"}), meter({LIPC_EXAMPLES "/meter"});
  EXPECT_TRUE(eventually(10s, [] { return lipc("get python p109") == "-12\n"; })) << "it hears";
  Process connection({LIPC_COMMAND, "connect", "--yes", "python", "meter"});
  EXPECT_TRUE(meter.waitForLine("peak  -12.00 dB", 10s)) << "and is heard: " << meter.output();
  lipc("set --yes python p108 -30");
  EXPECT_TRUE(python.waitForLine("set the level to -30 dB", 5s));
  EXPECT_TRUE(meter.waitForLine("peak  -30.00 dB", 5s)) << meter.output();
  const auto shown = nlohmann::json::parse(lipc("show python --json"));
  EXPECT_EQ(shown["life"], "alive") << shown;
  EXPECT_EQ(shown["type"], "PYTH");
  EXPECT_TRUE(shown["strings"][5].get<std::string>().starts_with("Python 3."));
  EXPECT_EQ(lipc("doctor --quick --json").find("\"problem\""), std::string::npos);
  host.signal(SIGUSR1);
  ASSERT_TRUE(host.waitForLine("\"event\":\"audio\"", 5s));
  const auto counters = nlohmann::json::parse(host.line());
  for (const auto& client : counters["clients"]) {
    if (client["id"] != "python") continue;
    EXPECT_GT(client["answered"], 100) << client;
    EXPECT_EQ(client["overruns"], 0) << client;
  }
  python.signal(SIGTERM);
  EXPECT_TRUE(python.waitForLine("leaves: it was told to end", 5s)) << python.output();
  EXPECT_EQ(python.wait(5s), 0);
  EXPECT_EQ(lipc("ls --ids").find("python"), std::string::npos);
  for (Process* other : {&connection, &tone, &meter}) {
    other->signal(SIGTERM);
    other->wait(5s);
  }
  EXPECT_EQ(remains("python"), "");

  Process again(program);
  ASSERT_TRUE(again.waitForLine("joined as python", 10s));
  host.signal(SIGTERM);
  EXPECT_TRUE(again.waitForLine("leaves: somebody asked it to", 5s)) << again.output();
  EXPECT_EQ(host.wait(10s), 0);
  EXPECT_EQ(remains(""), "");
  Process next({LIPC_COMMAND, "host"});
  ASSERT_TRUE(again.waitForLine("joined as python", 10s)) << "it comes back with the next host";
  next.signal(SIGKILL);
  EXPECT_TRUE(again.waitForLine("leaves: the host is gone", 10s)) << again.output();
  EXPECT_TRUE(eventually(5s, [] { return remains("python").empty(); })) << remains("python");
}

}  // namespace
