// SPDX-License-Identifier: BSL-1.0
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "host/ClientSegments.h"
#include "inspect/Evidence.h"
#include "lipc/session/SessionBuffer.h"
#include "tools/Commands.h"
#include "tools/Consent.h"
#include "tools/Failure.h"
#include "tools/Look.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"

namespace tools {
namespace {

using std::chrono::duration;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds cLeaveTimeout(5);
constexpr seconds cReturnTimeout(10);

struct KickOptions {
  std::string id;
  bool yes = false;
  bool asJson = false;
};

/// Seconds since the client was asked.
struct Kicked {
  double left = 0;
  std::optional<double> back;
  int index = 0;  // row of its return
};

/// To milliseconds.
double rounded(double time) {
  return std::round(time * 1000) / 1000;
}

/// The client's row; 1024 where it has none, or where there is no table.
int rowOf(const LIPC::ClientID& id, inspect::Source& source) {
  const inspect::Mapping mapping = source.attach(LIPC::cSessionSegment);
  const auto* table = mapping.as<LIPC::SessionBuffer>();
  return table != nullptr ? table->getClientIndex(id) : LIPC::cMaxClients;
}

/// Seconds until the client has a row, or has none; nothing when the time is over.
std::optional<double> waitForRow(bool present, const LIPC::ClientID& id, seconds timeout,
                                 inspect::Source& source) {
  const auto start = steady_clock::now();
  for (;;) {
    const duration<double> waited = steady_clock::now() - start;
    if ((rowOf(id, source) < LIPC::cMaxClients) == present) return waited.count();
    if (waited >= timeout) return std::nullopt;
    std::this_thread::sleep_for(cLook);
  }
}

/// Whose the client is, as far as the system tells: who made its buffer and has it attached still,
/// else who has it attached and is not the host; else nobody.
std::optional<inspect::ProcessFacts> ownerOf(const inspect::SegmentFacts& buffer,
                                             const inspect::SessionPicture& session) {
  const std::int64_t host = session.table ? session.table->creator.id : 0;
  std::optional<inspect::ProcessFacts> owner;
  for (const inspect::ProcessFacts& user : buffer.users) {
    if (user.id == buffer.creator.id) return user;
    if (user.id != host && !owner) owner = user;
  }
  return owner;
}

/// Somebody who can hear that the client is to leave.
void requireOwner(const inspect::ClientPicture& client, const inspect::SessionPicture& session) {
  const char* next =
      "See what is known of it with: lipc doctor; what is proved dead goes with: lipc reap";
  const auto& buffer = client.segments[0];
  if (!client.buffer || client.buffer->mustDisconnectSemaphore.empty() || !buffer) {
    throw Failure(eExitNotDone,
                  "the client {} cannot be asked to leave: it has no semaphore for that. {}",
                  printable(client.id), next);
  }
  const auto owner = ownerOf(*buffer, session);
  if (buffer->attachCount == 0 || (buffer->areUsersComplete && !owner)) {
    throw Failure(eExitNotDone,
                  "nobody would hear that {} is to leave: no process but the host has its segment "
                  "attached. {}",
                  printable(client.id), next);
  }
  if (owner && owner->isStopped) {
    throw Failure(eExitNotDone,
                  "nobody would hear that {} is to leave: {}. Continue it with: kill -CONT {}",
                  printable(client.id), printable(inspect::processText(*owner)), owner->id);
  }
}

Kicked kick(const inspect::ClientPicture& client, inspect::Source& source) {
  const LIPC::ClientID id(client.id);
  if (!host::askToLeave(id)) {
    throw Failure(eExitNotDone,
                  "the client {} cannot be asked to leave: its semaphore is missing or another "
                  "user's. Run lipc as the client's user, or see: lipc doctor",
                  printable(client.id));
  }
  Kicked kicked;
  const auto left = waitForRow(false, id, cLeaveTimeout, source);
  if (!left) {
    throw Failure(eExitNotDone,
                  "the client {} was asked to leave and did not within {} seconds: it is stopped, "
                  "stuck or dead, or its host is. See what is known of it with: lipc doctor",
                  printable(client.id), cLeaveTimeout.count());
  }
  kicked.left = *left;
  if (const auto back = waitForRow(true, id, cReturnTimeout, source)) {
    kicked.back = *left + *back;
    kicked.index = rowOf(id, source);
  }
  return kicked;
}

std::string kickedText(const inspect::ClientPicture& client, const Kicked& kicked) {
  const std::string text =
      fmt::format("{} left after {:.1f} s; ", printable(client.id), kicked.left);
  if (!kicked.back)
    return text +
           asCalled(fmt::format("it did not come back within {} s. See what is known of it with: "
                                "lipc doctor\n",
                                cReturnTimeout.count()));
  const std::string row = kicked.index == client.index
                              ? fmt::format("the same row, #{}", kicked.index)
                              : fmt::format("row #{} instead of #{}", kicked.index, client.index);
  return text + fmt::format("back under {}, after {:.1f} s\n", row, *kicked.back);
}

void kickCommand(const KickOptions& options) {
  const auto source = inspect::openMachine();
  const auto session = readOrFail(*source, {.withConnections = false, .withUsers = true});
  const inspect::ClientPicture& client = clientOrFail(session, options.id);
  requireOwner(client, session);
  askOrFail(fmt::format("Ask {} \"{}\" to leave: in the session, row #{} -> out of it. A client "
                        "that lives comes back by itself. Do it?",
                        printable(client.id), printable(client.name), client.index),
            options.yes);
  const Kicked kicked = kick(client, *source);
  if (!options.asJson) return print(kickedText(client, kicked));
  nlohmann::ordered_json json = {{"format", "lipc-kick"},
                                 {"version", 1},
                                 {"id", client.id},
                                 {"index", client.index},
                                 {"leftAfterSeconds", rounded(kicked.left)},
                                 {"backAfterSeconds", nullptr},
                                 {"indexAfter", nullptr}};
  if (kicked.back) {
    json["backAfterSeconds"] = rounded(*kicked.back);
    json["indexAfter"] = kicked.index;
  }
  print(dump(json, 2) + "\n");
}

}  // namespace

void addKickCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "kick", "Ask a client to leave, and see whether it does and whether it comes back.");
  const auto options = std::make_shared<KickOptions>();
  command->add_option("ID", options->id, "The client's ID")->required()->type_name("ID");
  command->add_flag("-y,--yes", options->yes, "Do it without a question");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc kick tone");
  command->callback([options] { kickCommand(*options); });
}

}  // namespace tools
