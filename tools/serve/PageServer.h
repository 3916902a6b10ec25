// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/serve/SessionFeed.h"

namespace tools {

struct PageOptions {
  std::string address = "127.0.0.1";
  int port = 8765;                     // 0: any that is free
  std::vector<std::string> hostNames;  // other names of this machine
};

/// Serves the page of a session over HTTP: GET and HEAD alone, to requests that name this machine
/// as their host, and without leave for pages of other origins.
///
/// Threads: `stop` any, the rest one.
class PageServer {
 public:
  /// Event streams at once; each has a thread. The next one gets status 503.
  static constexpr int cMostReaders = 256;
  /// Threads for everything else.
  static constexpr int cSpareThreads = 32;
  /// A reader that takes nothing for so long is left; its page comes back.
  static constexpr std::chrono::seconds cWriteTimeout{4};

  /// Listens from here on; connections wait for `run`. Throws Failure (eExitCannotServe).
  PageServer(SessionFeed& feed, const PageOptions& options);
  ~PageServer();

  /// "http://127.0.0.1:8765/"
  const std::string& url() const;
  /// Answers requests until `stop`; returns when the last one is answered.
  void run();
  void stop();

 private:
  class Site;
  std::unique_ptr<Site> mSite;
};

}  // namespace tools
