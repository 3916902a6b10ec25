// SPDX-License-Identifier: BSL-1.0
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <unistd.h>

#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/Reading.h"
#include "tools/serve/PageServer.h"
#include "tools/serve/SessionFeed.h"

namespace tools {
namespace {

/// For those that are just being answered when the command ends.
constexpr std::chrono::milliseconds cLastAnswers{500};

struct ServeOptions {
  PageOptions page;
  std::string from;
};

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaddset(&signals, signal);
  return signals;
}

/// The thread in which the server answers.
class Answering {
 public:
  explicit Answering(PageServer& server)
      : mThread([this, &server] {
          server.run();
          const std::lock_guard lock(mMutex);
          mIsOver = true;
          mEnd.notify_all();
          // Also where it ended by itself.
          kill(getpid(), SIGTERM);
        }) {}

  /// Whether it has ended by then.
  bool wait(std::chrono::milliseconds limit) {
    std::unique_lock lock(mMutex);
    const bool isOver = mEnd.wait_for(lock, limit, [&] { return mIsOver; });
    lock.unlock();
    if (isOver) mThread.join();
    return isOver;
  }

 private:
  std::mutex mMutex;
  std::condition_variable mEnd;
  bool mIsOver = false;
  std::thread mThread;
};

void serve(const ServeOptions& options) {
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // in all threads: this one takes them
  std::signal(SIGPIPE, SIG_IGN);
  SessionFeed feed(openSource(options.from), options.from);
  PageServer server(feed, options.page);
  Answering answering(server);
  print(server.url() + "\n");
  int signal = 0;
  sigwait(&signals, &signal);
  feed.close();
  server.stop();
  // A reader that takes nothing holds its thread until the write's time is over; it is not worth
  // waiting for.
  if (!answering.wait(cLastAnswers)) std::_Exit(eExitOK);
}

}  // namespace

void addServeCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "serve",
      "Show the session on a page, for a browser on this machine or a tablet beside it, until "
      "Ctrl-C. Reads only.");
  const auto options = std::make_shared<ServeOptions>();
  PageOptions& page = options->page;
  command->add_option("--port", page.port, "TCP port; 0 takes any that is free")
      ->type_name("PORT")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  command
      ->add_option("--bind", page.address,
                   "Address of this machine at which to serve; 0.0.0.0 for all of them. Everybody "
                   "who reaches it can look")
      ->type_name("ADDRESS")
      ->capture_default_str();
  command
      ->add_option("--host-name", page.hostNames,
                   "A name of this machine under which browsers may ask (repeatable)")
      ->type_name("NAME");
  addFromOption(*command, options->from);
  command->footer("Example:\n  lipc serve --bind 0.0.0.0 --host-name studio.local");
  command->callback([options] { serve(*options); });
}

}  // namespace tools
