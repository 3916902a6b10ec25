// A participant in a process of its own, for tests that kill and stop it. Prints what happens to
// it, a line each; leaves and ends when its standard input is closed.
//
//   participant ID [type=VMIX] [name=N] [mode=M] [in=N] [out=N] [loop=MS] [to=TARGET] [die=STEP]
//
// With die=STEP it takes the steps of a join by itself and kills itself after STEP: lock, buffer,
// list, row, request, leave (its request to leave), or inside the connection pool's lock: pool.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <unistd.h>

#include "lipc/client/Client.h"
#include "lipc/client/Join.h"
#include "lipc/session/ConnectionPool.h"

namespace {

using Options = std::map<std::string, std::string>;

void say(const char* what, const LIPC::Client& client) {
  std::printf("%s %s %d\n", what, client.configGetClientID().c_str(), client.getClientIndex());
  std::fflush(stdout);
}

class Participant final : public LIPC::Client {
 public:
  using Client::Client;
  ~Participant() override { stopLIPCSession(); }
  void onLIPCConnectionEstablished() override { say("established", *this); }
  void onLIPCConnectionToBeRemoved() override { say("removed", *this); }
};

int numberOf(const Options& options, const char* key, int fallback) {
  const auto found = options.find(key);
  return found != options.end() ? std::atoi(found->second.c_str()) : fallback;
}

std::string textOf(const Options& options, const char* key, const char* fallback) {
  const auto found = options.find(key);
  return found != options.end() ? found->second : fallback;
}

std::uint32_t typeOf(const Options& options) {
  char code[5] = "TEST";
  textOf(options, "type", "TEST").copy(code, 4);
  return LIPC::fourCharacterCode(code);
}

[[noreturn]] void dieInJoin(const std::string& id, const std::string& step) {
  const auto dieAt = [&](const char* here) {
    if (step == here) std::raise(SIGKILL);
  };
  const LIPC::Participant who{LIPC::ClientID(id), LIPC::fourCharacterCode("TEST"), 0, 0, 0};
  LIPC::SessionAttachment attachment;
  LIPC::timed_posix_sema_waiter waiter;
  LIPC::Join join(who, attachment);
  if (LIPC::Join::checkHost() != LIPC::eVersionMatches || !join.attachSession()) std::exit(2);
  join.openSessionSemaphores();
  while (!join.tryRegistrationLock())
    usleep(1000);
  LIPC::RegistrationLock lock(*attachment.mSessionBufferClientsCanRegisterSemaphore);
  dieAt("lock");
  if (!join.createClientBuffer() || !join.createSlices()) std::exit(3);
  dieAt("buffer");
  LIPC::PublishedConnections published(who.id);
  dieAt("list");
  if (step == "pool") {
    boost::interprocess::managed_shared_memory pool(boost::interprocess::open_only,
                                                    LIPC::cConnectionPoolSegment);
    auto die = [] { std::raise(SIGKILL); };
    pool.atomic_func(die);
  }
  const float parameters[LIPC::cOfflineParameterCount] = {};
  join.fillRow(*join.findRow(), id, parameters, {});
  dieAt("row");
  attachment.session()->writeRequest(who.id, LIPC::SessionBuffer::cJoinRequest);
  attachment.mSessionBufferRegistrationEndedSemaphore->clear();
  attachment.mSessionBufferRegistrationSemaphore->post();
  dieAt("request");
  attachment.mSessionBufferRegistrationEndedSemaphore->wait();
  published.keep();
  lock.leaveToHost();
  while (!join.tryRegistrationLock())
    usleep(1000);
  attachment.session()->writeRequest(who.id, LIPC::SessionBuffer::cLeaveRequest);
  attachment.mSessionBufferRegistrationSemaphore->post();
  dieAt("leave");
  std::exit(4);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  Options options;
  for (int i = 2; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t equals = argument.find('=');
    options[argument.substr(0, equals)] = argument.substr(equals + 1);
  }
  const std::string id = argv[1];
  if (options.count("die") != 0) dieInJoin(id, options["die"]);

  Participant client(static_cast<int>(typeOf(options)), textOf(options, "name", argv[1]).c_str());
  client.setAutoConnectLoopDurationMS(numberOf(options, "loop", 100));
  client.configBeginEdit();
  client.configSetMode(static_cast<LIPC::eClientMode>(numberOf(options, "mode", 3)));
  client.configSetClientID(id.c_str());
  client.configSetIOChannelCount(numberOf(options, "in", 0), numberOf(options, "out", 0));
  if (const std::string target = textOf(options, "to", ""); !target.empty()) {
    client.configEditConnection(LIPC::ClientID(id), LIPC::ClientID(target)).addWire(0, 0);
  }
  client.configEndEdit();
  client.startLIPCSession(0);
  while (std::getchar() != EOF) {
  }
  client.stopLIPCSession();
  say("stopped", client);
}
