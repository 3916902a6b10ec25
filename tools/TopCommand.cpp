// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <clocale>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "inspect/Rings.h"
#include "lipc/session/SegmentNames.h"
#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Terminal.h"
#include "tools/Text.h"
#include "tools/top/TopJson.h"
#include "tools/top/TopModel.h"
#include "tools/top/TopScreen.h"
#include "tools/top/TopView.h"

namespace tools {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds cScreenInterval{200};
constexpr milliseconds cPlainInterval{1000};
constexpr milliseconds cFirstInterval{200};  // before what is said once: rates need two looks
constexpr milliseconds cAllRowsInterval{1000};
constexpr milliseconds cConnectionsInterval{3000};
constexpr int cRowsAhead = 16;  // where a client that joins is seen at the next look
constexpr milliseconds cLongestWait{3'600'000};
constexpr int cRestForEachLook = 4;  // of a slow look's time

struct TopOptions {
  double intervalSeconds = 0.0;  // 0: the default
  std::string from;
  bool isOnce = false;
  bool asJson = false;

  milliseconds intervalOr(milliseconds otherwise) const {
    return intervalSeconds > 0 ? milliseconds(std::lround(intervalSeconds * 1000)) : otherwise;
  }
};

/// Looks at a session again and again.
class Looker {
 public:
  /// `failsWithout`: a session that cannot be read is a failure, not something to wait for.
  Looker(inspect::Source& source, bool failsWithout)
      : mSource(source),
        mFailsWithout(failsWithout || !source.isLive()),
        mModel(failsWithout || !source.isLive()) {}

  void look(bool withConnections, int watchHeartbeatMS = 0) {
    inspect::ReadOptions options{.watchHeartbeatMS = watchHeartbeatMS,
                                 .withRings = true,
                                 .withLevels = true,
                                 .withConnections = withConnections,
                                 .withSegments = false};
    const Clock::time_point start = Clock::now();
    if (start < mConnectionsDue) options.withConnections = false;
    if (options.withConnections) mConnectionsDue = start + cConnectionsInterval;
    if (start < mAllRowsDue) options.rows = mRows;
    if (start >= mAllRowsDue) mAllRowsDue = start + cAllRowsInterval;
    inspect::SessionPicture session =
        mFailsWithout ? readOrFail(mSource, options) : inspect::readSession(mSource, options);
    const Clock::time_point end = Clock::now();
    mTook = std::chrono::duration_cast<milliseconds>(end - start);
    mRows = cRowsAhead + (session.clients.empty() ? 0 : session.clients.back().index);
    mModel.add(std::move(session), end);
    if (mSource.isLive()) lookForLateAnswers();
  }
  const TopModel& model() const { return mModel; }
  /// How long to wait for the next look, so that a look which takes long, in a session with very
  /// many clients, leaves the machine to others.
  milliseconds pause(milliseconds interval) const {
    return std::max(interval, cRestForEachLook * mTook);
  }

 private:
  void lookForLateAnswers() {
    const std::vector<TopModel::RingToReadAgain> rings = mModel.ringsToReadAgain();
    if (rings.empty()) return;
    milliseconds after = rings.front().after;
    for (const auto& ring : rings)
      after = std::min(after, ring.after);
    std::this_thread::sleep_for(after);
    for (const auto& ring : rings) {
      const std::string name = LIPC::segmentNamesOf(LIPC::ClientID(ring.id))[2];
      if (const auto picture = inspect::ringOf(mSource.attach(name), false, false))
        mModel.addAnswerAgain(ring.id, *picture);
    }
  }

  inspect::Source& mSource;
  bool mFailsWithout;
  TopModel mModel;
  Clock::time_point mConnectionsDue{}, mAllRowsDue{};
  int mRows = 0;  // that are looked at in between
  milliseconds mTook{};
};

void runScreen(TopScreen& screen, Looker& looker, TopView& view, const TopOptions& options,
               bool isLive) {
  Clock::time_point due{};
  bool isAwaited = true;
  for (;;) {
    if (isAwaited && !view.isPaused() && Clock::now() >= due) {
      looker.look(view.isOpen() || !isLive);
      view.take(looker.model());
      due = Clock::now() + looker.pause(options.intervalOr(cScreenInterval));
      isAwaited = isLive;
    }
    screen.show(view);
    const auto left = std::chrono::ceil<milliseconds>(due - Clock::now());
    const bool isFrozen = view.isPaused() || !isAwaited;
    const bool wasOpen = view.isOpen();
    const eTopKey key =
        screen.wait(isFrozen ? cLongestWait : std::clamp(left, milliseconds(0), cLongestWait));
    if (!view.handle(key) || screen.isOver()) return;
    if (view.isOpen() && !wasOpen) due = {};
  }
}

void say(const TopView& view, const TopModel& model, const TopOptions& options, bool isLast) {
  if (options.asJson)
    print(dump(topJson(model), isLast ? 2 : -1) + "\n");
  else if (isLast)
    print(view.text(static_cast<int>(terminalWidth())));
  else
    print(clockText() + "  " + view.text(static_cast<int>(terminalWidth())) + "\n");
}

void runPlain(Looker& looker, TopView& view, const TopOptions& options, bool isLive) {
  const bool isLast = options.isOnce || !isLive;
  looker.look(false);
  if (isLive) std::this_thread::sleep_for(cFirstInterval);
  for (;;) {
    if (isLive) looker.look(false, isLast ? cWatchHeartbeatMS : 0);
    view.take(looker.model());
    say(view, looker.model(), options, isLast);
    if (isLast) return;
    std::this_thread::sleep_for(looker.pause(options.intervalOr(cPlainInterval)));
  }
}

void run(const TopOptions& options) {
  std::setlocale(LC_CTYPE, "");
  const auto source = openSource(options.from);
  Looker looker(*source, options.isOnce);
  TopView view(options.from.empty() ? "" : "snapshot " + printable(options.from), isLocaleUTF8());
  if (!options.isOnce && !options.asJson) {
    if (const auto screen = TopScreen::open())
      return runScreen(*screen, looker, view, options, source->isLive());
  }
  runPlain(looker, view, options, source->isLive());
}

}  // namespace

void addTopCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "top", "Show the clients at work: blocks, queues, answers and levels, again and again.");
  const auto options = std::make_shared<TopOptions>();
  command
      ->add_option("--interval", options->intervalSeconds,
                   "Seconds between two looks; 0.2 on a screen, else 1")
      ->check(CLI::Range(0.05, 3600.0))
      ->type_name("SECONDS");
  addFromOption(*command, options->from);
  command->add_flag("--once", options->isOnce, "Print one picture and end");
  command->add_flag("--json", options->asJson,
                    "Print a JSON object a look; each on a line, but with --once or --from");
  command->footer("Example:\n  lipc top --interval 0.5");
  command->callback([options] { run(*options); });
}

}  // namespace tools
