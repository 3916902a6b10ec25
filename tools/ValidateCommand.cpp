// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <syslog.h>
#include <unistd.h>

#include "host/SessionHost.h"
#include "lipc/util/SystemError.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/ProgressLine.h"
#include "tools/StopRequest.h"
#include "tools/Terminal.h"
#include "tools/Text.h"
#include "tools/validate/ChildProcess.h"
#include "tools/validate/Report.h"

namespace tools {
namespace {

using namespace validate;
using std::chrono::steady_clock;

constexpr int cMostTimes = 100'000;
constexpr double cMostSeconds = 3600;

struct ValidateOptions {
  std::string library;
  std::vector<std::string> only;
  bool lists = false;
  bool asJson = false;
  std::string junitFile;
  int times = 100;
  double callSeconds = 10;
  std::string check;  // this process runs this one check
};

/// For --only: empty, or what is wrong with the name.
std::string judgeName(const std::string& name) {
  if (findCheck(name) != nullptr) return {};
  return fmt::format("no check is called \"{}\". See which there are with: lipc validate --list",
                     printable(name));
}

/// What a check's process that did not end in order left of its session, by a host's own start and
/// stop.
void clearAway() {
  try {
    host::SessionHost({}, [](const inspect::Event&) {}).stop();
  } catch (const std::exception& error) {
    complain("what a check left cannot be cleared away: {}", printable(error.what()));
  }
}

/// Whether nobody else has the machine's session.
bool isMachineFree(int& status) {
  try {
    if (!host::isSessionAlive()) {
      const host::HostLock lock;
      return true;
    }
    complain(
        "a session is alive on this machine, and the checks need the session for themselves. "
        "Nothing was touched. End its host; see it with: lipc ls");
    status = eExitSessionAlive;
  } catch (const host::SessionAliveError& error) {
    complain("{}", error.what());
    status = eExitSessionAlive;
  } catch (const host::HostError& error) {
    complain("the session cannot be made: {}", printable(error.what()));
    status = eExitSessionFailed;
  }
  return false;
}

Result skipped(const Check& check, const Result& because) {
  Result result;
  result.check = &check;
  result.evidence =
      fmt::format("it takes a library that passes the check \"{}\".", because.check->name);
  return result;
}

/// Without the functions no other check makes sense.
bool endsAll(const Result& result) {
  return result.isUnloadable ||
         (result.outcome == eOutcome::eFailed && std::strcmp(result.check->name, "functions") == 0);
}

/// Runs the chosen checks one after the other. Throws CannotGoOn.
class Run {
 public:
  explicit Run(const ValidateOptions& options) : mOptions(options) {
    mReport.library = options.library;
  }

  /// False: interrupted.
  bool all() {
    const auto start = steady_clock::now();
    for (const Check& check : allChecks()) {
      if (!isChosen(check)) continue;
      if (!one(check)) return false;
    }
    mReport.isWhole = mReport.results.size() == allChecks().size();
    mReport.seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    return true;
  }

  const Report& report() const { return mReport; }
  bool isUnloadable() const { return mEnd && mEnd->isUnloadable; }

 private:
  bool isChosen(const Check& check) const {
    return mOptions.only.empty() ||
           std::ranges::find(mOptions.only, check.name) != mOptions.only.end();
  }

  bool one(const Check& check) {
    std::optional<Result> result;
    if (mEnd) {
      result = skipped(check, *mEnd);
    } else {
      result = inChild(check);
      if (!result) return false;
    }
    mLine.clear();
    if (!mOptions.asJson) print(resultText(*result, Style::ofOutput().hasColours()));
    if (!mEnd && endsAll(*result)) mEnd = result;
    mReport.results.push_back(std::move(*result));
    return true;
  }

  std::optional<Result> inChild(const Check& check) {
    try {
      std::optional<Result> result =
          runCheck(check, {mOptions.library, mOptions.times, mOptions.callSeconds,
                           [&](const std::string& step) {
                             if (!mOptions.asJson)
                               mLine.show(fmt::format("  {}: {}", check.name, step));
                           },
                           isStopRequested});
      if (!result || !result->endedInOrder) clearAway();
      return result;
    } catch (const CannotGoOn&) {
      throw;  // it made no session
    } catch (...) {
      clearAway();
      throw;
    }
  }

  const ValidateOptions& mOptions;
  ProgressLine mLine{STDOUT_FILENO};
  Report mReport;
  std::optional<Result> mEnd;  // after which the rest is skipped
};

int finish(const Run& run, const ValidateOptions& options, std::ofstream& junit) {
  const Report& report = run.report();
  print(options.asJson ? dump(reportJson(report), 2) + "\n" : verdictText(report));
  if (!options.junitFile.empty() && !(junit << reportJUnit(report) << std::flush)) {
    complain("the file {} cannot be written: {}.", printable(options.junitFile),
             LIPC::systemErrorText(errno));
    return eExitFailure;
  }
  if (run.isUnloadable()) {
    complain("the library {} cannot be loaded; the report says why.", printable(options.library));
    return eExitLibrary;
  }
  const auto failed = report.count(eOutcome::eFailed);
  if (failed == 0) return eExitOK;
  complain("the library {} failed {} of {}; the report says why.", printable(options.library),
           failed, countText(report.results.size(), "check"));
  return eExitNotCertified;
}

int runChecks(const ValidateOptions& options) {
  int status = eExitOK;
  if (access(options.library.c_str(), R_OK) != 0) {
    complain("the library {} cannot be read: {}. Look at the path.", printable(options.library),
             LIPC::systemErrorText(errno));
    return eExitLibrary;
  }
  std::ofstream junit;
  if (!isMachineFree(status)) return status;
  if (!options.junitFile.empty()) {
    junit.open(options.junitFile);
    if (!junit) {
      complain("the file {} cannot be written: {}.", printable(options.junitFile),
               LIPC::systemErrorText(errno));
      return eExitFailure;
    }
  }
  catchStopRequests();
  if (options.only.empty() && !options.asJson)
    complain("the checks take a minute or more: they load the library {} times", options.times);
  try {
    Run run(options);
    if (run.all()) return finish(run, options, junit);
    complain("interrupted: the check was ended and what it had made was cleared away");
    return eExitFailure;
  } catch (const CannotGoOn& end) {
    complain("{}", printable(end.reason));
    return end.exitStatus;
  }
}

/// In a process that `runCheck` started.
int runAsCheck(const ValidateOptions& options) {
  const Check* const check = findCheck(options.check);
  if (check == nullptr || !followTheCommand()) {
    complain("--check is for this command's own use; see --only");
    return eExitUsage;
  }
  // Its connection is not to be taken for something that the library left.
  openlog("lipc validate", LOG_NDELAY, LOG_USER);
  Reporter reporter;
  Context context{reporter, options.library, options.times,
                  std::chrono::milliseconds(static_cast<long>(options.callSeconds * 1000))};
  try {
    try {
      check->run(context);
      reporter.pass();
    } catch (const std::exception& error) {
      reporter.fail(std::string("the check could not be carried out: ") + error.what(),
                    "Look at the error; it may be the machine's.");
    }
  } catch (const CheckEnded&) {
  }
  return eExitOK;
}

std::string listText() {
  std::string text;
  for (const Check& check : allChecks())
    text += fmt::format("{:<13}  {}\n", check.name, check.title);
  return text;
}

}  // namespace

void addValidateCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "validate",
      "Certify a processor library: its functions, its processor, what it leaves, and its client "
      "with hosts that behave and hosts that do not. Takes a minute and a half, and the "
      "machine's session for itself.");
  const auto options = std::make_shared<ValidateOptions>();
  CLI::Option* const library =
      command->add_option("LIBRARY", options->library, "The library's file; not needed with --list")
          ->type_name("FILE");
  command->add_option("--only", options->only, "Run this check alone (repeatable)")
      ->type_name("NAME")
      ->allow_extra_args(false)
      ->check(judgeName);
  command->add_flag("--list", options->lists, "List the checks and end");
  command->add_option("--times", options->times, "How often to load and unload it for \"cycles\"")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(1, cMostTimes));
  command
      ->add_option("--timeout", options->callSeconds, "How long one call of the library may take")
      ->type_name("SECONDS")
      ->capture_default_str()
      ->check(CLI::Range(0.1, cMostSeconds));
  command->add_flag("--json", options->asJson, "Print one JSON object at the end");
  command->add_option("--junit", options->junitFile, "Write the results to this file as JUnit XML")
      ->type_name("FILE");
  command->add_option("--check", options->check)->group("");
  command->footer("Example:\n  lipc validate build/settings/VexoSettings.so --junit report.xml");
  command->callback([options, library, &status] {
    if (options->lists) {
      print(listText());
      return;
    }
    if (library->count() == 0) throw CLI::RequiredError("LIBRARY");
    status = options->check.empty() ? runChecks(*options) : runAsCheck(*options);
  });
}

}  // namespace tools
