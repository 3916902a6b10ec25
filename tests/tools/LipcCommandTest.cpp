// The lipc command as its users call it.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using support::Process;
using support::TestClient;
using support::TestHost;

struct Lipc {
  explicit Lipc(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), LIPC_COMMAND);
    Process process(std::move(arguments));
    process.waitForLine("a line that never comes", 15s);
    status = process.wait(5s);
    output = process.output();
  }
  int status;
  std::string output;
};

/// Names and times of everything that a session keeps in files.
std::set<std::string> traces() {
  std::set<std::string> all;
  for (const char* folder : {"/tmp", "/dev/shm"}) {
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      const std::chrono::nanoseconds time = file.last_write_time().time_since_epoch();
      all.insert(file.path().string() + " " + std::to_string(time.count()));
    }
  }
  return all;
}

TEST(LipcCommand, FailuresAreASentenceAndAStatusOfTheirOwn) {
  EXPECT_EQ(Lipc({"ls"}).status, 5);
  EXPECT_EQ(Lipc({}).status, 2);
  EXPECT_EQ(Lipc({"host", "--version", "x"}).status, 2);
  EXPECT_EQ(Lipc({"host", "--load", "missing.so"}).status, 4);
  const Lipc nobody = [] {
    TestHost host;
    return Lipc({"show", "nobody"});
  }();
  EXPECT_EQ(nobody.status, 6);
  EXPECT_EQ(
      nobody.output,
      "lipc: no client of the session has the ID \"nobody\". See who is there with: lipc ls\n");
}

TEST(LipcCommand, LayoutsNeedNoSession) {
  const json all = json::parse(Lipc({"layouts", "--json"}).output)["layouts"];
  ASSERT_EQ(all.size(), 27U);
  EXPECT_EQ(all[7]["nativeName"], "Vexo_5_1");
  EXPECT_EQ(all[22]["key"], 23);
  EXPECT_TRUE(all[22]["name"].is_null());
  EXPECT_NE(Lipc({"layouts"}).output.find("\n 23  (no name)                   13    1     -  -\n"),
            std::string::npos);
  EXPECT_EQ(json::parse(Lipc({"layouts", "23", "--json"}).output)["speakers"].size(), 14U);
  EXPECT_EQ(Lipc({"layouts", "1"}).output,
            "Layout 1  \"Stereo\"  2 channels, 0 LFE  flag 0\n\n"
            "  channel  speaker  order  kind  azimuth  elevation  native\n"
            "        0  L            0     0       30          0       -\n"
            "        1  R            1     2      -30          0       -\n");
}

TEST(LipcCommand, AKeyWithoutALayoutIsNamed) {
  for (const std::string key : {"20", "Quad", ""}) {
    const Lipc unknown({"layouts", key});
    EXPECT_EQ(unknown.status, 9);
    EXPECT_EQ(unknown.output, "lipc: no speaker layout has the key \"" + key +
                                  "\". See which keys there are with: lipc layouts\n");
  }
}

TEST(LipcCommand, ReadersSeeTheSessionAndLeaveNoTrace) {
  TestHost host;
  TestClient client("na\x1b[31mmed \xFF", static_cast<int>(LIPC::fourCharacterCode("T st")));
  client.configEditConnection(LIPC::ClientID(client.configGetClientID()), LIPC::ClientID("b"))
      .addWire(3, 4);
  ASSERT_TRUE(client.join());
  client.setString(1, "one");
  client.stopLIPCSession();  // a running client rewrites key files
  ASSERT_TRUE(client.join());
  const std::string id = client.configGetClientID();

  const Lipc text({"ls"});
  EXPECT_EQ(text.status, 0);
  EXPECT_NE(text.output.find("na\\x1b[31mmed \\xff"), std::string::npos) << text.output;
  EXPECT_NE(text.output.find("beating"), std::string::npos);

  const auto before = traces();
  const Lipc listed({"ls", "--json"});
  const Lipc shown({"show", id, "--json"});
  EXPECT_EQ(traces(), before);
  EXPECT_EQ(json::parse(listed.output)["clients"][0]["type"], "T st");
  const json row = json::parse(shown.output);
  EXPECT_EQ(row["strings"][1], "one");
  EXPECT_EQ(row["connections"][0]["wires"], json::parse("[[3, 4]]"));
}

TEST(LipcCommand, TheHostShowsTheSettingsClientOnceAndLeavesNothing) {
  Process run({"/bin/sh", "-c", LIPC_COMMAND " host --load " LIPC_MODULE " --once --json 2>&-"});
  run.waitForLine("a line that never comes", 15s);
  ASSERT_EQ(run.wait(5s), 0);
  const json session = json::parse(run.output());
  const json& client = session["clients"][0];
  EXPECT_EQ(client["id"], "VexoSettings");
  EXPECT_EQ(client["type"], "VSet");
  EXPECT_EQ(client["settings"].size(), 7U);
  EXPECT_EQ(client["settings"]["PhysMonConfig"]["value"], 26.0);
  EXPECT_EQ(client["settings"]["Facility"]["source"], "default");
  EXPECT_EQ(session["host"]["beating"], true);
  EXPECT_TRUE(std::filesystem::is_empty("/dev/shm"));
}

TEST(LipcCommand, ASettingComesFromTheFileOnlyWhenTheFileCanBeRead) {
  TestHost host;
  TestClient settings("settings", static_cast<int>(LIPC::cSettingsType));
  ASSERT_TRUE(settings.join());
  settings.setString(0, "Stage B");
  setenv("HOME", (testing::TempDir() + "command-home").c_str(), 1);
  std::filesystem::remove_all(getenv("HOME"));  // of a run before
  const std::filesystem::path file = getenv("HOME") +
                                     std::string("/Library/Application Support/Vexo Technologies") +
                                     "/Vexo-Settings.xml";
  const auto source = [&] {
    const json row = json::parse(Lipc({"show", "settings", "--json"}).output);
    return row["settings"]["Facility"]["source"];
  };
  std::filesystem::create_directories(file);
  EXPECT_EQ(source(), "unknown") << "a folder has its name";
  std::filesystem::remove(file);
  const std::string value = "<PROPERTIES><VALUE name='Facility' val='Stage B'/>";
  for (const std::string& rest : {std::string(), std::string("<VALUE name='Solo"),
                                  std::string(1 << 20, '\0'), std::string(1 << 20, '<')}) {
    std::ofstream(file) << value << rest;
    EXPECT_EQ(source(), "unknown") << rest.substr(0, 20);
  }
  std::string nested = value;
  for (const int depth : {900, 40'000}) {
    for (int i = 0; i < depth; ++i)
      nested += "<a>";
    std::ofstream(file) << nested;
    EXPECT_EQ(source(), "unknown");
  }
  std::ofstream(file) << value << "</PROPERTIES>";
  EXPECT_EQ(source(), "file");
}

TEST(LipcCommand, TheHostFollowsAndEndsWithASignal) {
  Process host({LIPC_COMMAND, "host"});
  ASSERT_TRUE(host.waitForLine("Clients   0", 15s)) << host.output();
  TestClient client("followed");
  ASSERT_TRUE(client.join());
  EXPECT_TRUE(host.waitForLine("joined   #0 followed", 5s)) << host.output();
  client.setOfflineParameter(9, 2.5F);
  EXPECT_TRUE(host.waitForLine("#0 followed  parameter 9  0 -> 2.5", 5s)) << host.output();
  host.signal(SIGTERM);
  EXPECT_EQ(host.wait(10s), 0) << host.output();
  EXPECT_EQ(client.removed, 1);
}

}  // namespace
