// SPDX-License-Identifier: BSL-1.0
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "inspect/SessionFollower.h"
#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/StopRequest.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::Event;
using inspect::SessionFollower;
using inspect::SessionPicture;
using json = nlohmann::ordered_json;
using WallTime = std::chrono::system_clock::time_point;

struct WatchOptions {
  std::string id;
  std::string from;
  bool asJson = false;
};

/// Prints the events that concern who was asked for.
class EventPrinter {
 public:
  explicit EventPrinter(const WatchOptions& options) : mOptions(options) {
    if (mOptions.asJson) print({{"format", "lipc-watch"}, {"version", 1}, {"event", "watching"}});
  }

  void print(const std::vector<Event>& events, WallTime time) {
    mTime = time;
    for (const Event& event : events) {
      if (!concerns(event)) continue;
      if (mOptions.asJson) {
        print(eventJson(event));
      } else {
        mOutput.print(clockText(mTime) + "  " + eventWords(event));
      }
    }
  }
  const Output& output() const { return mOutput; }

 private:
  /// What has no client concerns all.
  bool concerns(const Event& event) const {
    if (mOptions.id.empty() || event.id.empty()) return true;
    const LIPC::ClientID wanted(mOptions.id);
    return wanted == event.id.c_str() || (!event.target.empty() && wanted == event.target.c_str());
  }

  void print(json object) {
    json line;
    for (const char* first : {"format", "version", "event"})
      if (object.contains(first)) line[first] = object[first];
    line["time"] = isoTimeText(mTime);
    line.update(object);
    mOutput.print(dump(line, -1));
  }

  const WatchOptions& mOptions;
  Output mOutput;
  WallTime mTime = std::chrono::system_clock::now();
};

void sayWhatIsMissing(inspect::Source& source, const SessionFollower& follower,
                      const WatchOptions& options) {
  if (follower.state() != SessionPicture::eRead) {
    complain("there is no session on this machine yet; waiting for one, until Ctrl-C");
  } else if (!options.id.empty() &&
             inspect::readSession(source, {.withConnections = false}).find(options.id) == nullptr) {
    complain("no client of the session has the ID \"{}\" yet; waiting for it, until Ctrl-C",
             printable(options.id));
  }
}

void watchSnapshot(const WatchOptions& options) {
  const auto source = openSource(options.from);
  const SessionPicture session = readOrFail(*source, {.withConnections = false});
  if (!options.id.empty()) clientOrFail(session, options.id);
  SessionFollower follower;
  EventPrinter printer(options);
  printer.print(follower.look(*source), std::chrono::system_clock::from_time_t(session.time));
  if (!printer.output().failure().empty())
    throw Failure(eExitFailure, "{}", printer.output().failure());
}

void watchMachine(const WatchOptions& options) {
  const auto source = openSource({});
  SessionFollower follower;
  std::vector<Event> events = follower.look(*source);
  const auto state = follower.state();
  if (state != SessionPicture::eRead && state != SessionPicture::eNone)
    readOrFail(*source, {.withConnections = false});
  catchStopRequests();
  sayWhatIsMissing(*source, follower, options);
  EventPrinter printer(options);
  while (!isStopRequested()) {
    printer.print(events, std::chrono::system_clock::now());
    if (printer.output().isOver()) break;
    std::this_thread::sleep_for(SessionFollower::cLookInterval);
    events = follower.look(*source);
  }
  if (!printer.output().failure().empty())
    throw Failure(eExitFailure, "{}", printer.output().failure());
}

}  // namespace

void addWatchCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "watch",
      "Follow the session until Ctrl-C: what is there, then a line for each thing that happens. "
      "Reads only.");
  const auto options = std::make_shared<WatchOptions>();
  command->add_option("ID", options->id, "Show only what concerns the client of this ID")
      ->type_name("ID");
  command->add_flag("--json", options->asJson, "Print JSON: one object a line");
  addFromOption(*command, options->from);
  command->footer("Example:\n  lipc watch engine");
  command->callback(
      [options] { options->from.empty() ? watchMachine(*options) : watchSnapshot(*options); });
}

}  // namespace tools
