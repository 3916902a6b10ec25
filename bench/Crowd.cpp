// SPDX-License-Identifier: BSL-1.0

// How fast a crowd of clients is back in a session whose host died.
//
//   lipc_crowd LIPC CLIENTS PROCESSES
//
// Starts CLIENTS clients in PROCESSES processes and a host (the command LIPC), waits until all have
// joined, kills the host, starts another at once, and prints how long it takes until all are back,
// and how long a new client then waits. Run it where no session is alive.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lipc/client/Client.h"

namespace {

using Steady = std::chrono::steady_clock;

/// Shared by all processes of this program.
struct Board {
  std::atomic<int> joins{0};
  std::atomic<int> present{0};
  std::atomic<bool> stop{false};
};

class Member final : public LIPC::Client {
 public:
  Member(Board& board, int number)
      : Client(static_cast<int>(LIPC::fourCharacterCode("CROW")), "Crowd"), mBoard(board) {
    const std::string id = "crowd-" + std::to_string(number);
    configBeginEdit();
    configSetClientID(id.c_str());
    configSetName(id.c_str());
    configEndEdit();
    startLIPCSession(number % 500);
  }
  ~Member() override { stopLIPCSession(); }
  void onLIPCConnectionEstablished() override {
    ++mBoard.joins;
    ++mBoard.present;
  }
  void onLIPCConnectionToBeRemoved() override { --mBoard.present; }

 private:
  Board& mBoard;
};

void quiet() {
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
}

pid_t startMembers(Board& board, int first, int count) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  quiet();
  {
    std::vector<std::unique_ptr<Member>> members;
    for (int i = 0; i < count; ++i)
      members.push_back(std::make_unique<Member>(board, first + i));
    while (!board.stop)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::vector<std::thread> stops;
    for (auto& member : members)
      stops.emplace_back([&member] { member->stopLIPCSession(); });
    for (std::thread& stop : stops)
      stop.join();
  }
  _exit(0);
}

pid_t startHost(const char* command) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  quiet();
  execl(command, command, "host", static_cast<char*>(nullptr));
  _exit(127);
}

double since(Steady::time_point start) {
  return std::chrono::duration<double>(Steady::now() - start).count();
}

/// Seconds until `joins` and `present` have been reached, or a negative number after two minutes.
double waitFor(const Board& board, int joins, int present) {
  const auto start = Steady::now();
  while (board.joins < joins || board.present < present) {
    if (since(start) > 120) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return since(start);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "lipc_crowd LIPC CLIENTS PROCESSES\n");
    return 2;
  }
  const int clients = std::atoi(argv[2]);
  const int processes = std::atoi(argv[3]);
  void* memory =
      mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || processes < 1) return 1;
  Board& board = *new (memory) Board;

  pid_t host = startHost(argv[1]);
  std::this_thread::sleep_for(std::chrono::seconds(2));
  std::vector<pid_t> children;
  for (int p = 0; p < processes; ++p) {
    const int first = clients * p / processes;
    children.push_back(startMembers(board, first, clients * (p + 1) / processes - first));
  }
  std::printf("%d clients joined after %.2f s\n", clients, waitFor(board, clients, clients));
  std::fflush(stdout);
  std::this_thread::sleep_for(std::chrono::seconds(2));

  const int joins = board.joins;
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  host = startHost(argv[1]);
  std::printf("back after the host's death: %.2f s\n", waitFor(board, joins + clients, clients));
  std::fflush(stdout);
  children.push_back(startMembers(board, clients, 1));
  std::printf("a new one joined after %.2f s, %d joins more than needed\n",
              waitFor(board, joins + clients + 1, clients + 1), board.joins - joins - clients - 1);
  std::fflush(stdout);

  board.stop = true;
  for (const pid_t child : children)
    waitpid(child, nullptr, 0);
  kill(host, SIGTERM);
  waitpid(host, nullptr, 0);
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  std::printf("processor time of all: %ld s\n", usage.ru_utime.tv_sec + usage.ru_stime.tv_sec);
}
