// SPDX-License-Identifier: BSL-1.0

// The far end of a test of lipc mqtt, in another session than the test's.
//
//   mqttPeer ID INDEX       says "VALUE NAME" with each change of that parameter, or of the name,
//   in
//                           the row of that client, or "none"; before it when, in ns of the
//                           machine's monotonic clock, which all sessions share
//   mqttPeer COUNT          so many clients, which it brings into the session; says "joined"
//   mqttPeer COUNT RATE     whose parameter 110 each sets so often a second
#include <cstdio>
#include <cstdlib>
#include <functional>

#include <poll.h>
#include <unistd.h>

#include "lipc/client/Client.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/util/SharedWord.h"

namespace {

using std::chrono::steady_clock;

struct Member final : LIPC::Client {
  explicit Member(int number) : Client(static_cast<int>(LIPC::fourCharacterCode("CROW")), "Crowd") {
    const std::string id = "crowd-" + std::to_string(number);
    configBeginEdit();
    configSetClientID(id.c_str());
    configSetName(id.c_str());
    configEndEdit();
    startLIPCSession(0);
  }
  ~Member() override { stopLIPCSession(); }
};

bool isInputOpen(int milliseconds) {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, milliseconds) <= 0;
}

std::string sumOf(const LIPC::ClientEntry& row) {
  std::string all(reinterpret_cast<const char*>(row.offlineParameters),
                  sizeof row.offlineParameters);
  for (const LIPC::SHMString& text : row.strings)
    all += std::string(text.current()) + '\0';
  return std::to_string(std::hash<std::string>()(all));
}

void watch(const char* id, int index) {
  std::string said;
  while (isInputOpen(1)) {
    std::string now = "none";
    const LIPC::ShmReadOnly<LIPC::SessionBuffer> table(LIPC::cSessionSegment);
    const LIPC::ClientEntry* row = table.get() != nullptr ? table->getClientEntry(id) : nullptr;
    if (row != nullptr)
      now = std::to_string(LIPC::loadRelaxed(row->offlineParameters[index])) + " " +
            std::string(row->nameView()) + " " + sumOf(*row);
    if (now == said) continue;
    said = now;
    dprintf(STDOUT_FILENO, "%lld %s\n",
            static_cast<long long>(steady_clock::now().time_since_epoch().count()), said.c_str());
  }
}

void crowd(int count, int rate) {
  std::deque<Member> members;
  for (int i = 0; i < count; ++i)
    members.emplace_back(i);
  for (const Member& member : members)
    while (!member.isConnected())
      usleep(1000);
  dprintf(STDOUT_FILENO, "joined\n");
  for (float value = 1; isInputOpen(rate > 0 ? 1000 / rate : -1); ++value)
    for (Member& member : members)
      member.setOfflineParameter(110, value);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const int count = std::atoi(argv[1]);
  const int second = argc > 2 ? std::atoi(argv[2]) : 0;
  count > 0 ? crowd(count, second) : watch(argv[1], second);
}
