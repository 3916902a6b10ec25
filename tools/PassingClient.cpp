// SPDX-License-Identifier: BSL-1.0
#include "tools/PassingClient.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include "inspect/Picture.h"
#include "lipc/client/Client.h"
#include "tools/Failure.h"
#include "tools/Look.h"
#include "tools/ProgressLine.h"
#include "tools/Routing.h"
#include "tools/StopRequest.h"
#include "tools/Text.h"

namespace tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds cTimeout(10'000);
constexpr milliseconds cQuietWait(1000);  // before it is worth a word
constexpr milliseconds cLockLook(1000);
constexpr int cHeartbeatMS = 1000;

}  // namespace

/// While it lives, what goes to standard output and standard error is kept and not shown: a
/// participant that cannot join repeats why with each attempt.
class PassingClient::KeptOutput {
 public:
  KeptOutput() {
    flush();
    for (int file = STDOUT_FILENO; file <= STDERR_FILENO; ++file) {
      mBefore[file] = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
      if (mFile != nullptr) dup2(fileno(mFile), file);
    }
  }
  ~KeptOutput() {
    flush();
    for (int file = STDOUT_FILENO; file <= STDERR_FILENO; ++file) {
      if (mBefore[file] < 0) continue;
      dup2(mBefore[file], file);
      close(mBefore[file]);
    }
    if (mFile != nullptr) std::fclose(mFile);
  }
  KeptOutput(const KeptOutput&) = delete;
  KeptOutput& operator=(const KeptOutput&) = delete;

  /// The last line, or an empty text.
  std::string last() {
    flush();
    if (mFile == nullptr) return {};
    std::string line, last;
    std::rewind(mFile);
    for (int next; (next = std::fgetc(mFile)) != EOF;) {
      if (next != '\n') {
        line += static_cast<char>(next);
      } else if (!line.empty()) {
        last = std::exchange(line, {});
      }
    }
    std::fseek(mFile, 0, SEEK_END);
    return line.empty() ? last : line;
  }
  /// Where standard error goes otherwise.
  int standardError() const { return mBefore[STDERR_FILENO]; }

 private:
  static void flush() {
    std::fflush(stdout);
    std::fflush(stderr);
  }

  std::FILE* mFile = std::tmpfile();
  int mBefore[STDERR_FILENO + 1] = {-1, -1, -1};
};

namespace {

/// Why a session does not list what a participant published, by what can be seen from outside.
std::string reason(inspect::Source& source, bool isConnected, const std::string& said) {
  const auto session = inspect::readSession(source, {.watchHeartbeatMS = cHeartbeatMS});
  if (session.state != inspect::SessionPicture::eRead) return "the session is gone";
  if (session.forbidsJoins) return "its host forbids joins";
  if (!session.isBeating) return "its host stands still: its heartbeat does not advance";
  if (!session.poolError.empty())
    return "its connections cannot be read: " + printable(session.poolError);
  if (isConnected) return "its host does not answer";
  if (session.clients.size() >= LIPC::cMaxClients) return "its table is full";
  const auto watched = source.watch(cLockLook, [](double) { return true; });
  if (watched.lockCount == 0) return "somebody holds its registration lock";
  return said.empty() ? "it took no participant" : "the participant says: " + printable(said);
}

}  // namespace

class PassingClient::Participant final : public LIPC::Client {
 public:
  Participant(const char* name, const LIPC::Connection& wanted)
      : Client(static_cast<int>(LIPC::fourCharacterCode("LIPC")), name) {
    configBeginEdit();
    configSetMode(LIPC::eClientModeNoAudio);
    LIPC::Connection& published = wanted.disconnectRequested == 0
                                      ? configEditConnection(wanted.source, wanted.target)
                                      : cut(wanted.source, wanted.target);
    published.isAuto = wanted.isAuto;
    published.owner = wanted.owner;
    std::memcpy(published.wires, wanted.wires, sizeof published.wires);
    configEndEdit();
    startLIPCSession(0);
  }
  ~Participant() override { stopLIPCSession(); }

 private:
  LIPC::Connection& cut(const LIPC::ClientID& source, const LIPC::ClientID& target) {
    configDisconnect(source, target);
    return configGetConnections().front();
  }
};

PassingClient::PassingClient(const char* name, const LIPC::Connection& wanted,
                             inspect::Source& source) {
  catchStopRequests();
  KeptOutput output;
  mParticipant = std::make_unique<Participant>(name, wanted);
  waitUntilListed(wanted, source, output);
}

PassingClient::~PassingClient() = default;

bool PassingClient::isConnected() const {
  return mParticipant->isConnected();
}

void PassingClient::waitUntilListed(const LIPC::Connection& wanted, inspect::Source& source,
                                    KeptOutput& output) {
  ProgressLine line(output.standardError());
  for (const auto start = steady_clock::now();;) {
    if (isConnected()) {
      const auto listed = listedConnection(source, wanted.source, wanted.target);
      if (listed && haveSameRouting(*listed, wanted)) return;
    }
    if (isStopRequested()) {
      mParticipant.reset();
      throw Failure(eExitNotDone, "ended by a signal before the session had taken {}.",
                    endsText(wanted));
    }
    const auto waited = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
    if (waited >= cTimeout) {
      const std::string why = reason(source, isConnected(), output.last());
      mParticipant.reset();
      throw Failure(eExitNotDone,
                    "the session did not take {} within {} seconds: {}. lipc has left it again; "
                    "see what is wrong with: lipc doctor",
                    endsText(wanted), cTimeout.count() / 1000, why);
    }
    if (waited >= cQuietWait)
      line.show(fmt::format("lipc: waiting for the session, {} of {} s", waited.count() / 1000,
                            cTimeout.count() / 1000));
    std::this_thread::sleep_for(cLook);
  }
}

}  // namespace tools
