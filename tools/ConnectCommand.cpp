// SPDX-License-Identifier: BSL-1.0
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Consent.h"
#include "tools/Failure.h"
#include "tools/Look.h"
#include "tools/Output.h"
#include "tools/PassingClient.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Routing.h"
#include "tools/StopRequest.h"

namespace tools {
namespace {

using LIPC::Connection;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr double cMostSeconds = 1e7;  // four months
constexpr milliseconds cConnectionLook(4000);

struct ConnectOptions {
  std::string source;
  std::string target;
  std::string wires;
  double seconds = 0;  // 0: until it is ended
  bool yes = false;
  bool asJson = false;
};

/// What is to be published: what the session lists already, connected, with the wires of the
/// command line; without these, with those that it had, or else channel by channel.
Connection wantedOf(const ConnectOptions& options, const inspect::SessionPicture& session,
                    const std::optional<Connection>& before) {
  const inspect::ClientPicture& source = clientOrFail(session, options.source);
  const inspect::ClientPicture& target = clientOrFail(session, options.target);
  Connection wanted = before.value_or(
      Connection(LIPC::ClientID(source.id), LIPC::ClientID(target.id), LIPC::ClientID()));
  wanted.disconnectRequested = 0;
  if (!options.wires.empty()) {
    setWires(wanted, wiresOrFail(options.wires, source, target));
  } else if (!hasWires(wanted) && wanted.isAuto == 0) {
    setWires(wanted, straightWires(source, target));
  }
  return wanted;
}

void printResult(const std::optional<Connection>& before, const Connection& after, bool stays,
                 bool asJson, Output& output) {
  if (asJson) {
    output.print(dump({{"format", "lipc-connect"},
                       {"version", 1},
                       {"source", after.source.text()},
                       {"target", after.target.text()},
                       {"before", routingJson(before)},
                       {"after", routingJson(after)},
                       {"stays", stays}},
                      2));
    return;
  }
  if (before && haveSameRouting(*before, after))
    return output.print(fmt::format("{}: {} already", endsText(after), routingText(after)));
  output.print(fmt::format("{}: {} -> {}{}", endsText(after), routingText(before),
                           routingText(after),
                           stays ? ""
                                 : "\nIt stays for as long as this command runs. End it with "
                                   "Ctrl-C."));
}

/// Says what becomes of the session, and of the connection, while it is held. Throws Failure when
/// somebody else cuts it.
class Holding {
 public:
  Holding(const PassingClient& client, const Connection& held, inspect::Source& source)
      : mClient(client), mHeld(held), mSource(source) {}

  void look() {
    const bool isConnected = mClient.isConnected();
    if (isConnected != mWasConnected) {
      mWasConnected = isConnected;
      complain("{}", isConnected ? endsText(mHeld) + " is back"
                                 : "the session is gone; " + endsText(mHeld) +
                                       " comes back with the next host");
    }
    if (!isConnected || steady_clock::now() - mLast < cConnectionLook) return;
    mLast = steady_clock::now();
    const auto listed = listedConnection(mSource, mHeld.source, mHeld.target);
    if (listed && listed->disconnectRequested != 0)
      throw Failure(eExitNotDone, "{} was cut by somebody else; there is nothing left to hold.",
                    endsText(mHeld));
  }

 private:
  const PassingClient& mClient;
  const Connection& mHeld;
  inspect::Source& mSource;
  bool mWasConnected = true;
  steady_clock::time_point mLast = steady_clock::now();
};

void hold(const PassingClient& client, const Connection& held, double seconds, const Output& output,
          inspect::Source& source) {
  const auto start = steady_clock::now();
  const std::chrono::duration<double> most(seconds);
  Holding holding(client, held, source);
  while (!isStopRequested() && !output.isOver() &&
         (seconds == 0 || steady_clock::now() - start < most)) {
    holding.look();
    std::this_thread::sleep_for(cLook);
  }
}

/// What another client publishes too stays in the state that the passing one gave it.
void publishAndLeave(const std::optional<Connection>& before, const Connection& wanted,
                     const ConnectOptions& options, inspect::Source& source, Output& output) {
  { const PassingClient client("lipc connect", wanted, source); }
  const auto after = listedConnection(source, wanted.source, wanted.target);
  if (!after || !haveSameRouting(*after, wanted)) {
    throw Failure(eExitNotDone,
                  "the session had taken {}, but it is {} by now: the client that published it has "
                  "left or done so anew. Try again.",
                  endsText(wanted), routingText(after));
  }
  printResult(before, wanted, true, options.asJson, output);
}

void connect(const ConnectOptions& options) {
  const auto source = inspect::openMachine();
  const auto session = readOrFail(*source, {});
  clientOrFail(session, options.source);
  clientOrFail(session, options.target);
  const auto before = connectionOrFail(session, options.source, options.target);
  const Connection wanted = wantedOf(options, session, before);
  const std::string change =
      fmt::format("{}: {} -> {}", endsText(wanted), routingText(before), routingText(wanted));
  Output output;
  if (before && haveSameRouting(*before, wanted))
    return printResult(before, wanted, true, options.asJson, output);
  askOrFail(change + (before ? "." : ", for as long as this command runs.") + " Do it?",
            options.yes);
  if (before) return publishAndLeave(before, wanted, options, *source, output);

  {
    const PassingClient client("lipc connect", wanted, *source);
    printResult(before, wanted, false, options.asJson, output);
    hold(client, wanted, options.seconds, output, *source);
  }
  if (options.asJson) return;
  const auto after = listedConnection(*source, wanted.source, wanted.target);
  output.print(fmt::format(
      "{}: {}", endsText(wanted),
      after ? routingText(after) + "; another client publishes it by now" : routingText(after)));
}

}  // namespace

void addConnectCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "connect", "Connect one client to another. A new connection stays while the command runs.");
  const auto options = std::make_shared<ConnectOptions>();
  command->add_option("SOURCE", options->source, "ID of the client that sends")
      ->required()
      ->type_name("ID");
  command->add_option("TARGET", options->target, "ID of the client that receives")
      ->required()
      ->type_name("ID");
  command
      ->add_option("--wires", options->wires,
                   "Which channel of the source goes to which of the target. Otherwise channel by "
                   "channel, as many as both have")
      ->type_name("0:0,1:1");
  command
      ->add_option("--for", options->seconds,
                   "Hold a new connection for so long. Otherwise until "
                   "Ctrl-C")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, cMostSeconds));
  command->add_flag("-y,--yes", options->yes, "Do it without a question");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc connect tone meter --wires 0-1:0-1");
  command->callback([options] { connect(*options); });
}

}  // namespace tools
