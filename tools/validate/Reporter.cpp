// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/Reporter.h"

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tools/Picture.h"

namespace tools::validate {
namespace {

using json = nlohmann::ordered_json;

/// Who cannot hear it any more has ended, and this process with it.
void say(const json& word) {
  const std::string line = dump(word, -1) + "\n";
  for (std::size_t done = 0; done < line.size();) {
    const ssize_t count = write(cReportFile, line.data() + done, line.size() - done);
    if (count <= 0) return;
    done += static_cast<std::size_t>(count);
  }
}

}  // namespace

void Reporter::step(const std::string& what, std::chrono::milliseconds allowed) {
  say({{"step", what}, {"allowedMS", allowed.count()}});
}

void Reporter::note(const std::string& text) {
  say({{"note", text}});
}

void Reporter::pass() {
  say({{"result", "passed"}});
}

void Reporter::fail(const std::string& evidence, const std::string& advice) {
  say({{"result", "failed"}, {"evidence", evidence}, {"advice", advice}});
  throw CheckEnded();
}

void Reporter::failUnloadable(const std::string& evidence, const std::string& advice) {
  say({{"result", "unloadable"}, {"evidence", evidence}, {"advice", advice}});
  throw CheckEnded();
}

void Reporter::skip(const std::string& reason) {
  say({{"result", "skipped"}, {"evidence", reason}});
  throw CheckEnded();
}

void Reporter::giveUp(int exitStatus, const std::string& reason) {
  say({{"result", "impossible"}, {"status", exitStatus}, {"evidence", reason}});
  throw CheckEnded();
}

}  // namespace tools::validate
