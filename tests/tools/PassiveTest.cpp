// SPDX-License-Identifier: BSL-1.0

// That the subcommands that read change nothing, shown on a session that stands still: everybody in
// it is stopped, so that any byte that differs afterwards is the reader's doing.
#include <sys/ipc.h>
#include <sys/shm.h>

#include "tests/support/Process.h"

namespace {

using namespace support;
namespace fs = std::filesystem;

std::string contentsOf(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

/// Of a segment: its identifier, its size, its attach count and a sum of its bytes.
std::string segmentOf(const std::string& keyFile) {
  const int id = shmget(ftok(keyFile.c_str(), 1), 0, 0);
  shmid_ds status{};
  if (id < 0 || shmctl(id, IPC_STAT, &status) != 0) return "none";
  const auto* bytes = static_cast<const char*>(shmat(id, nullptr, SHM_RDONLY));
  const std::string_view all(bytes, status.shm_segsz);
  const std::size_t sum = std::hash<std::string_view>()(all);
  shmdt(bytes);
  return std::to_string(id) + " " + std::to_string(all.size()) + " " +
         std::to_string(status.shm_nattch) + " " + std::to_string(sum);
}

/// Every key file with its times, contents and segment; every semaphore (its bytes are its count)
/// and the pool. By path.
std::map<std::string, std::string> everything() {
  std::map<std::string, std::string> all;
  for (const char* folder : {"/tmp", "/dev/shm"}) {
    for (const auto& file : fs::directory_iterator(folder)) {
      const std::string path = file.path().string();
      if (!file.path().filename().string().starts_with("LIPC_") &&
          !file.path().filename().string().starts_with("sem."))
        continue;
      const std::chrono::nanoseconds time = file.last_write_time().time_since_epoch();
      all[path] = std::to_string(time.count()) + " " +
                  std::to_string(std::hash<std::string>()(contentsOf(path))) + " " +
                  segmentOf(path);
    }
  }
  return all;
}

/// Follows the page's events for two seconds.
void lookAtPage(Process& server) {
  ASSERT_TRUE(server.waitForLine("http://", 10s)) << server.output();
  const std::string url = server.line().substr(server.line().find("http://") + 7);
  const std::string port = url.substr(url.find(':') + 1, url.find('/') - url.find(':') - 1);
  Process reader({"/bin/bash", "-c",
                  "exec 3<>/dev/tcp/127.0.0.1/" + port +
                      "; printf 'GET /events HTTP/1.1\\r\\nHost: localhost\\r\\n\\r\\n' >&3; "
                      "timeout 2 cat <&3"});
  EXPECT_TRUE(reader.waitForLine("tone", 5s)) << reader.output();
  reader.wait(5s);
}

TEST(Passive, NoReadingSubcommandChangesAByte) {
  Process host({LIPC_COMMAND, "host"});
  ASSERT_TRUE(host.waitForLine("Clients", 15s)) << host.output();
  Process meter({LIPC_EXAMPLES "/meter"});
  ASSERT_TRUE(meter.waitForLine("joined", 10s));
  Process tone({LIPC_EXAMPLES "/tone"});
  ASSERT_TRUE(tone.waitForLine("joined", 10s));
  ASSERT_TRUE(meter.waitForLine("-12.00 dB", 10s));
  for (const Process* stopped : {&tone, &meter, &host})
    stopped->signal(SIGSTOP);

  const auto before = everything();
  EXPECT_GE(before.size(), 18U) << "eight segments, their key files, semaphores and the pool";
  const std::string snapshot = testing::TempDir() + "passive.lipc";
  // Those that go on until they are told to end are told so after two seconds.
  const std::vector<std::vector<std::string>> commands = {
      {"ls"},
      {"ls", "--ids"},
      {"show", "tone", "--json"},
      {"get", "tone", "p4"},
      {"doctor"},
      {"reap", "--dry-run"},
      {"snapshot", snapshot},
      {"top", "--once"},
      {"ls", "--from", snapshot},
      {"graph", "--wires"},
      {"watch"},
      {"serve", "--port", "0"},
      {"show", "meter", "--from", snapshot, "--json"},
  };
  for (const auto& arguments : commands) {
    std::vector<std::string> line{LIPC_COMMAND};
    line.insert(line.end(), arguments.begin(), arguments.end());
    Process command(line);
    const bool isEndless = arguments[0] == "watch" || arguments[0] == "serve";
    if (arguments[0] == "serve") lookAtPage(command);
    if (isEndless) std::this_thread::sleep_for(2s);
    if (isEndless) command.signal(SIGINT);
    command.waitForLine("a line that never comes", 20s);
    const int status = command.wait(5s);
    EXPECT_TRUE(status == 0 || (status == 13 && arguments[0] == "doctor"))
        << arguments[0] << " ended with " << status << "\n"
        << command.output();
    EXPECT_EQ(everything(), before) << arguments[0];
  }
  for (const Process* stopped : {&host, &meter, &tone})
    stopped->signal(SIGCONT);
}

}  // namespace
