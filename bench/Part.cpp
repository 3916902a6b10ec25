// SPDX-License-Identifier: BSL-1.0
#include "bench/Part.h"

#include <chrono>
#include <ctime>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/ChainByHand.h"
#include "bench/Peer.h"
#include "host/SessionHost.h"
#include "lipc/client/Client.h"

extern char** environ;

namespace bench {
namespace {

using namespace std::chrono_literals;

void ignore(const inspect::Event&) {}

/// Says what the process has used, a line for each line, until its starter goes.
void answer() {
  char line[16];
  std::puts("ready");
  std::fflush(stdout);
  while (std::fgets(line, sizeof line, stdin) != nullptr) {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    std::printf("%.0f\n",
                1e9 * static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec));
    std::fflush(stdout);
  }
}

class IdleClient final : public LIPC::Client {
 public:
  explicit IdleClient(const char* id)
      : Client(static_cast<int>(LIPC::fourCharacterCode("BNCH")), id) {
    setAutoConnectLoopDurationMS(500);
    configBeginEdit();
    configSetClientID(id);
    configEndEdit();
    startLIPCSession(0);
    while (!isConnected())
      std::this_thread::sleep_for(10ms);
  }
  ~IdleClient() override { stopLIPCSession(); }
};

void sleepAndAnswer(int ms) {
  std::thread([ms] {
    for (;;)
      std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  }).detach();
  answer();
}

}  // namespace

Part::Part(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {Peer::msProgram, "part"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& argument : all)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  int to[2], from[2];
  if (pipe(to) != 0 || pipe(from) != 0) throw std::runtime_error("no pipe");
  for (const int end : {to[1], from[0]})
    fcntl(end, F_SETFD, FD_CLOEXEC);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
  const int error =
      posix_spawn(&mProcess, all[0].c_str(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(to[0]);
  close(from[1]);
  mTo = fdopen(to[1], "w");
  mFrom = fdopen(from[0], "r");
  char line[16];
  if (error != 0 || std::fgets(line, sizeof line, mFrom) == nullptr) {
    throw std::runtime_error("the " + arguments[0] + " does not start");
  }
}

Part::~Part() {
  std::fclose(mTo);
  waitpid(mProcess, nullptr, 0);
  std::fclose(mFrom);
}

double Part::processorNS() {
  double used = 0.0;
  std::fputs("?\n", mTo);
  std::fflush(mTo);
  if (std::fscanf(mFrom, "%lf", &used) != 1) throw std::runtime_error("a part has ended");
  return used;
}

int Part::run(const std::vector<std::string>& arguments) {
  const std::string kind = arguments.empty() ? "" : arguments[0];
  if (kind == "host") {
    const host::SessionHost session({}, ignore);
    answer();
  } else if (kind == "client" && arguments.size() == 2) {
    const IdleClient client(arguments[1].c_str());
    answer();
  } else if (kind == "sleeper" && arguments.size() == 2) {
    sleepAndAnswer(std::stoi(arguments[1]));
  } else if (kind == "mixer" && arguments.size() == 4) {
    host::HostOptions silent;
    silent.faults.noAudio = true;
    host::SessionHost session(silent, ignore);
    const ChainByHand chain(session.session(), static_cast<unsigned>(std::stoul(arguments[1])),
                            std::stoi(arguments[2]), std::stoi(arguments[3]));
    answer();
  } else {
    return 2;
  }
  return 0;
}

}  // namespace bench
