// SPDX-License-Identifier: BSL-1.0

// The lipc command as its users call it, compared line by line.
#include <regex>

#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using LIPC::ClientID;
using nlohmann::json;
using namespace support;
namespace fs = std::filesystem;

/// What differs from run to run: the heartbeat, stamps, processes and, at the beginning of a line,
/// the local time within the last seconds.
std::string steady(std::string all) {
  for (const auto& [run, same] : {std::pair{"heartbeat [0-9]+", "heartbeat N"},
                                  {"\\), process [0-9]+", "), process P"},
                                  {"\"heartbeat\": ?[0-9]+", "\"heartbeat\":0"},
                                  {"alive [0-3] s +[0-9]+\n", "alive N s  P\n"},
                                  {"alive [0-3] s, stamp [0-9T]{15}", "alive N s, stamp S"},
                                  {"(^|\n) +[0-9]+  (host(, 0)?)  .*", "$1P  $2"},
                                  {"made by process [0-9]+: .*", "made by P"},
                                  {"\"process\": ?\\{[^}]*\\}", "\"process\":{}"},
                                  {"(AgeSeconds\": ?)[0-3]\\b", "$1 0"}})
    all = std::regex_replace(all, std::regex(run), same);
  for (std::time_t time = std::time(nullptr), ago = 0; ago < 20; ++ago, --time) {
    char clock[16];
    std::strftime(clock, sizeof clock, "%H:%M:%S ", std::localtime(&time));
    if (all.starts_with(clock)) return "T " + all.substr(std::strlen(clock));
  }
  return all;
}

constexpr char cPool[] = "/dev/shm/LIPC_SESSION_CONNECTION_POOL";

struct Lipc {
  explicit Lipc(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), LIPC_COMMAND);
    Process process(std::move(arguments));
    process.waitForLine("a line that never comes", 40s);
    status = process.wait(5s);
    output = steady(process.output());
  }
  int status;
  std::string output;
};

/// Names and times of everything that a session keeps in files.
std::set<std::string> traces() {
  std::set<std::string> all;
  for (const char* folder : {"/tmp", "/dev/shm"}) {
    for (const auto& file : fs::directory_iterator(folder)) {
      const std::string name = file.path().filename().string();
      if (!name.starts_with("LIPC_") && !name.starts_with("sem.")) continue;
      const std::chrono::nanoseconds time = file.last_write_time().time_since_epoch();
      all.insert(file.path().string() + " " + std::to_string(time.count()));
    }
  }
  return all;
}

TEST(LipcCommand, FailuresAreASentenceAndAStatusOfTheirOwn) {
  const std::string unknown = "\". See which keys there are with: " LIPC_COMMAND " layouts\n",
                    key = "lipc: no speaker layout has the key \"";
  const auto expect = [](const std::vector<std::string>& arguments, int status,
                         const std::string& said = "") {
    const Lipc command(arguments);
    EXPECT_EQ(command.status, status) << command.output;
    EXPECT_EQ(said.empty() ? said : command.output, said);
  };
  expect({}, 2);
  expect({"host", "--version", "x"}, 2);
  Process never({LIPC_COMMAND, "host", "--counters", "0"});
  EXPECT_TRUE(never.waitForLine("--counters: 0 is no number of seconds above 0", 15s));
  expect({"ls"}, 5,
         "lipc: there is no session on this machine. Start a host, for example: " LIPC_COMMAND
         " host\n");
  expect({"host", "--load", "/missing.so"}, 4);
  expect({"layouts", "20"}, 9, key + "20" + unknown);
  expect({"layouts", ""}, 9, key + unknown);
  for (const std::string command :
       {" host >&-", " host --once > /dev/full", " layouts > /dev/full", " --help > /dev/full"}) {
    Process unheard({"/bin/sh", "-c", LIPC_COMMAND + command});
    EXPECT_EQ(unheard.wait(15s), 1) << command;
    EXPECT_TRUE(unheard.waitForLine("lipc: Standard output ", 1s)) << command;
  }
  EXPECT_EQ(Process({"/bin/sh", "-c", LIPC_COMMAND " ls 2> /dev/full"}).wait(15s), 5);
  Process piped({"/bin/sh", "-c", LIPC_COMMAND " host | head -n 1"});
  EXPECT_EQ(piped.wait(15s), 0);
  EXPECT_FALSE(fs::exists(cPool)) << "it ends in order when nobody reads";
  {
    TestHost host;
    expect(
        {"show", "nobody"}, 6,
        "lipc: no client of the session has the ID \"nobody\". See who is there with: " LIPC_COMMAND
        " ls\n");
    expect({"host", "--once"}, 3,
           "lipc: A session is alive on this machine: another lipc host runs here, or is stopped. "
           "Nothing was touched. See it with: " LIPC_COMMAND " ls\n");
    EXPECT_EQ(host.notes(), "");
  }
  fs::remove("/tmp/LIPC_LIPC_SESSION");
  fs::create_symlink("/none/of/these", "/tmp/LIPC_LIPC_SESSION");
  expect({"host"}, 8,
         "lipc: the session cannot be made: The key file /tmp/LIPC_LIPC_SESSION cannot be opened: "
         "No such file or directory.\n");
  fs::remove("/tmp/LIPC_LIPC_SESSION");
}

TEST(LipcCommand, AHostWhoseLibrarysClientDoesNotJoinSaysSoAfterItsTime) {
  const auto start = std::chrono::steady_clock::now();
  const Lipc host({"host", "--once", "--hold-lock", "--load", LIPC_MODULE});
  EXPECT_GE(std::chrono::steady_clock::now() - start, 14900ms);
  EXPECT_EQ(host.status, 7);
  EXPECT_NE(host.output.find("lipc: the client of type VSet did not join within 15 seconds. Its "
                             "library's messages above may say why.\n"),
            std::string::npos)
      << host.output;
}

TEST(LipcCommand, TheHostCountsEverySoOften) {
  Process host({LIPC_COMMAND, "host", "--counters", "0.2"});
  ASSERT_TRUE(host.waitForLine("Clients   0", 15s));
  const auto start = std::chrono::steady_clock::now();
  for (int times = 0; times < 4; ++times)
    EXPECT_TRUE(host.waitForLine("audio     blocks in", 10s)) << host.output();
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(took > 500ms && took < 5s);
}

TEST(LipcCommand, LayoutsNeedNoSession) {
  const json all = json::parse(Lipc({"layouts", "--json"}).output)["layouts"];
  ASSERT_EQ(all.size(), 27U);
  EXPECT_EQ(all[7], R"({"key": 7, "name": "Surround 5.1", "channels": 5, "lfeChannels": 1,
                        "layoutFlag": 1,
                        "nativeName": "Vexo_5_1"})"_json);
  EXPECT_NE(Lipc({"layouts"}).output.find("\n 23  (no name)                   13    1     -  -\n"),
            std::string::npos);
  json one = json::parse(Lipc({"layouts", "23", "--json"}).output);
  EXPECT_EQ(one["speakers"].size(), 14U);
  EXPECT_EQ(one["speakers"][2],
            R"({"label": "R", "orderIndex": 5, "speakerId": 2, "azimuthDegrees": -30.0,
                "elevationDegrees": 0.0, "nativeIndex": 1})"_json);
  EXPECT_TRUE(one["name"].is_null());
  EXPECT_EQ(Lipc({"layouts", "1"}).output,
            "Layout 1  \"Stereo\"  2 channels, 0 LFE  flag 0\n\n"
            "  channel  speaker  order  kind  azimuth  elevation  native\n"
            "        0  L            0     0       30          0       -\n"
            "        1  R            1     2      -30          0       -\n");
}

TEST(LipcCommand, ReadersSeeTheWholeSessionAndLeaveNoTrace) {
  host::HostOptions options;
  options.referenceClient = "b";
  options.faults.stallHeartbeat = options.faults.noConnect = true;
  {
    TestHost host(options);
    EXPECT_EQ(
        Lipc({"ls"}).output,
        "Host      protocol 5, 64 bits, heartbeat N (stalled), process P\n          forbids joins\n"
        "Reference b\nClients   0\n\nProcess  Rows  Command\nP  host\n");
  }
  options.faults = {};
  TestHost host(options);
  TestClient client("na\x1b[31mmed \xFF", static_cast<int>(LIPC::fourCharacterCode("T st")));
  client.configSetClientID("id");
  client.configSetIOChannelCount(2, 1);
  client.configEditConnection(ClientID("id"), ClientID("b")).addWire(3, 4);
  client.configEditConnection(ClientID("id"), ClientID("b")).addWire(0, 31);
  client.configDisconnect(ClientID("c"), ClientID("id"));
  client.configBeginEdit();
  client.configEndEdit();
  client.setOfflineParameter(3, 0.0F);
  client.setOfflineParameter(5, 0.0F);
  client.setOfflineParameter(127, -2.5F);
  client.setString(9, "one");
  ASSERT_TRUE(client.join());
  ASSERT_TRUE(support::eventually(10s, [&] { return host->connections().size() == 2; }));

  EXPECT_EQ(Lipc({"ls"}).output,
            "Host      protocol 5, 64 bits, heartbeat N (beating), process P\nReference b\nClients "
            "  1\n\n"
            "Row  ID  Name                Type  Mode  In  Out  Life       Process\n"
            "  0  id  na\\x1b[31mmed \\xff  T st  io--   2    1  alive N s  P\n\n"
            "Process  Rows     Command\nP  host, 0\n");
  EXPECT_EQ(Lipc({"ls", "--ids"}).output, "id\n");
  const std::string shownText = Lipc({"show", "id"}).output;
  EXPECT_EQ(shownText.substr(0, shownText.find("\nSegments")),
            "Client      id  \"na\\x1b[31mmed \\xff\"\n"
            "            row 0, type T st, mode 3 (inputs, outputs), 2 in, 1 out\n"
            "            alive N s, stamp S\n            made by P\n\nValues\n"
            " No.   Value  Default\n*p3    0      1e-45\n*p5    0      2756527000000\n"
            "*p127  -2.5   0\n*s9    one    \"\"\n  The other 134 are at their defaults.\n\n"
            "Connections\n  Source  Target  Wires            State\n"
            "  id      b       3 -> 4, 0 -> 31  target absent, 1 without a channel\n"
            "  c       id      none             disconnected, source absent\n\n"
            "Rings       no block was sent; 0 of 63 blocks wait for the host\n");
  json rowJson = R"({"index": 0, "id": "id", "name": "na\u001b[31mmed \ufffd", "type": "T st",
                     "mode": 3, "inputChannels": 2, "outputChannels": 1,
                     "stampAgeSeconds": 0, "life": "alive", "process": {}})"_json;
  const auto before = traces();
  const json listed = json::parse(Lipc({"ls", "--json"}).output);
  json shown = json::parse(Lipc({"show", "id", "--json"}).output);
  EXPECT_EQ(traces(), before) << "but for what the client itself has touched";
  EXPECT_EQ(listed["clients"], json::array({rowJson}));
  rowJson["strings"] = R"(["", "", "", "", "", "", "", "", "", "one"])"_json;
  rowJson["parameters"] = std::vector<float>(128, 0.0F);
  rowJson["parameters"][4] = 3.0;
  rowJson["parameters"][6] = 5.0;
  rowJson["parameters"][127] = -2.5;
  rowJson["connections"] =
      R"([{"source": "id", "target": "b", "owner": "", "automatic": false, "disconnected": false,
           "wires": [[3, 4], [0, 31]]},
          {"source": "c", "target": "id", "owner": "", "automatic": false, "disconnected": true,
           "wires": []}])"_json;
  for (const auto& [key, value] : rowJson.items())
    EXPECT_EQ(shown[key], value) << key;
  EXPECT_EQ(shown["segments"][1]["creator"]["id"], getpid());
}

TEST(LipcCommand, TheHostShowsTheSettingsClientOnceAndLeavesNothing) {
  Process run({"/bin/sh", "-c", LIPC_COMMAND " host --load " LIPC_MODULE " --once --json 2>&-"});
  run.waitForLine("a line that never comes", 15s);
  ASSERT_EQ(run.wait(5s), 0);
  const json session = json::parse(steady(run.output()));
  EXPECT_EQ(session["host"]["beating"], true);
  json expected = R"({"index": 0, "id": "VexoSettings", "name": "VexoSettings", "type": "VSet",
                      "mode": 4, "inputChannels": 0, "outputChannels": 0,
                      "stampAgeSeconds": 0, "life": "alive", "process": {}})"_json;
  // clang-format off
  for (const auto& [key, index, value] :
       {std::tuple{"SoloMode", 4, 0.0}, {"HdxAuxTrackDelaySetting", 32, 0.0},
        {"DAWLinkControlSetting", 33, 0.0}, {"LatencyCompensationControlSetting", 40, 1.0},
        {"defaultPannerObjects", 37, 0.0}, {"PhysMonConfig", 41, 26.0}})
    // clang-format on
    expected["settings"][key] = {{"value", value}, {"parameter", index}, {"source", "default"}};
  expected["settings"]["Facility"] =
      R"({"value": "Standard-Surround", "string": 0, "source": "default"})"_json;
  EXPECT_EQ(session["clients"], json::array({expected}));
  EXPECT_FALSE(fs::exists(cPool));
}

TEST(LipcCommand, ASettingComesFromTheHostsFileOnlyWhenTheFileCanBeRead) {
  setenv("HOME", (testing::TempDir() + "command-home").c_str(), 1);
  const fs::path file = getenv("HOME") + std::string("/Library/Application Support") +
                        "/Vexo Technologies/Vexo-Settings.xml";
  Process host({LIPC_COMMAND, "host"});
  // Who asks has another home folder, where the system tells the host's.
  if (fs::exists("/proc/self/environ")) setenv("HOME", "/nowhere", 1);
  TestClient settings("settings", static_cast<int>(LIPC::cSettingsType));
  ASSERT_TRUE(settings.join());
  settings.setString(0, "Stage B");
  const auto source = [&](const char* key = "Facility") {
    const json row = json::parse(Lipc({"show", "settings", "--json"}).output);
    return row["settings"][key]["source"];
  };
  fs::remove_all(file);  // of a run before
  fs::create_directories(file);
  EXPECT_EQ(source(), "unknown") << "a folder has its name";
  fs::remove(file);
  const std::string value = "<PROPERTIES><VALUE name='Facility' val='Stage B'/>";
  for (const std::string& rest : {std::string(), std::string("<VALUE name='Solo"),
                                  std::string(1 << 20, '<'), std::string("</PROPERTIES>")}) {
    std::ofstream(file) << value << rest;
    EXPECT_EQ(source(), rest == "</PROPERTIES>" ? "file" : "unknown") << rest.substr(0, 20);
  }
  settings.setOfflineParameter(4, 3.0F);
  for (const auto& [number, from] : {std::pair{"3", "file"}, {"2", "unknown"}}) {
    std::ofstream(file) << "<PROPERTIES><VALUE name='SoloMode' val='" << number
                        << "'/></PROPERTIES>";
    EXPECT_EQ(source("SoloMode"), from);
  }
  host.signal(SIGTERM);
  EXPECT_EQ(host.wait(10s), 0);
}

TEST(LipcCommand, TheHostTellsEachThingThatHappensAndEndsWithASignal) {
  struct Telling {
    std::vector<std::string> flags, lines;
  };
  const std::string who = R"("index":0,"id":"client","name":"new","type":"VSet")";
  for (
      const auto& [flags, lines] :
      {Telling{
           {"--json"},
           {R"({"format":"lipc-ls","version":1,"host":{"protocol":5,"pointerWidthBits":64,"heartbeat":0,"beating":true,)"
            R"("forbidsJoins":false,"referenceClient":"mixer","process":{}},)"
            R"("clients":[]})",
            R"({"event":"joined","index":0,"id":"client","name":"client","type":"VSet"})",
            R"({"event":"renamed",)" + who + R"(,"before":"client","after":"new"})",
            R"({"event":"changed",)" + who +
                R"(,"parameter":33,"key":"DAWLinkControlSetting","before":0.0,"after":2.5})",
            R"({"event":"changed",)" + who + R"(,"string":9,"before":"","after":"\u001b"})",
            R"({"event":"audio","clients":[{"id":"client","blocksIn":0,"answered":0,)"
            R"("late":0,"dropped":0,"overruns":0}]})",
            R"({"event":"joined","index":1,"id":"killed","name":"Tone","type":"TONE"})",
            R"({"event":"lost","index":1,"id":"killed","name":"Tone","type":"TONE"})",
            R"({"event":"left",)" + who + "}"}},
       Telling{{},
               {"Host      protocol 5, 64 bits, heartbeat N (beating), process P\nReference mixer\n"
                "Clients   0\n\nProcess  Rows  Command\nP  host\n\n",
                "T  joined   #0 client  \"client\"  VSet",
                "T  renamed  #0 client  \"client\" -> \"new\"",
                "T  changed  #0 client  parameter 33 (DAWLinkControlSetting)  0 -> 2.5",
                "T  changed  #0 client  string 9  \"\" -> \"\\x1b\"",
                "T  audio     blocks in   answered     late  dropped overruns\n"
                "                            0          0        0        0        0  client",
                "T  joined   #1 killed  \"Tone\"  TONE",
                "T  lost     #1 killed  stopped refreshing its stamp; its row was freed",
                "T  left     #0 client"}}}) {
    TestClient client("client", static_cast<int>(LIPC::cSettingsType));
    std::optional<Process> other;
    std::vector<std::string> arguments{LIPC_COMMAND, "host", "--reference", "mixer"};
    arguments.insert(arguments.end(), flags.begin(), flags.end());
    Process host(arguments);
    const std::function<void()> actions[] = {
        [] {},
        [&] { ASSERT_TRUE(client.join()); },
        [&] { client.configSetName("new"); },
        [&] { client.setOfflineParameter(33, 2.5F); },
        [&] { client.setString(9, "\x1b"); },
        [&] { host.signal(SIGUSR1); },
        [&] {
          other.emplace(std::vector<std::string>{LIPC_EXAMPLES "/tone", "--id", "killed"});
        },
        [&] { other->signal(SIGKILL); },
        [&] { host.signal(SIGTERM); }};
    for (std::size_t i = 0; i < lines.size(); ++i) {
      actions[i]();
      std::istringstream expected(lines[i]);
      for (std::string line; std::getline(expected, line);) {
        ASSERT_TRUE(host.waitForLine("", 20s)) << host.output();
        EXPECT_EQ(steady(host.line()), line);
      }
    }
    EXPECT_EQ(host.wait(10s), 0);
    EXPECT_FALSE(host.waitForLine("", 5s)) << host.line();
    EXPECT_EQ(client.removed, 1);
  }
}

TEST(LipcCommand, AHostThatWaitsForClientsToLeaveSaysForWhom) {
  Process host({LIPC_COMMAND, "host"});
  ASSERT_TRUE(host.waitForLine("Clients   0", 15s));
  Process tone({LIPC_EXAMPLES "/tone", "--id", "stopped"});
  ASSERT_TRUE(tone.waitForLine("joined", 10s));
  tone.signal(SIGSTOP);
  host.signal(SIGTERM);
  EXPECT_TRUE(host.waitForLine("lipc: waiting up to 5 seconds for stopped to leave", 5s));
  host.signal(SIGTERM);
  EXPECT_EQ(host.wait(5s), 1);
}

}  // namespace
