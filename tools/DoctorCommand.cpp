// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Findings.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::eSeverity;
using inspect::Finding;

struct DoctorOptions {
  std::string from;
  bool isQuick = false;
  bool asJson = false;
};

using Findings = std::vector<Finding>;

long countOf(const Findings& findings, eSeverity severity) {
  return std::count_if(findings.begin(), findings.end(),
                       [&](const Finding& finding) { return finding.severity == severity; });
}

std::string summary(const Findings& findings) {
  const auto count = [&](eSeverity severity) { return countOf(findings, severity); };
  const auto things = [](long number, const char* one, const char* many) {
    return fmt::format("{} {}", number, number == 1 ? one : many);
  };
  const long wrong = count(eSeverity::eWrong);
  return fmt::format(
      "{}; {}; {}.\n",
      wrong == 0 ? "Nothing is wrong" : things(wrong, "thing is wrong", "things are wrong"),
      things(count(eSeverity::eNotice), "notice", "notices"),
      things(count(eSeverity::eFine), "thing is fine", "things are fine"));
}

std::string text(const Findings& findings) {
  const bool hasColours = wantsColours();
  std::string all;
  for (const Finding& finding : findings)
    all += findingText(finding, hasColours);
  return all + "\n" + summary(findings);
}

nlohmann::ordered_json doctorJson(const inspect::Exam& exam, const Findings& findings) {
  nlohmann::ordered_json json = {{"format", "lipc-doctor"},
                                 {"version", 1},
                                 {"system", exam.machine.system},
                                 {"user", exam.machine.user},
                                 {"userID", exam.machine.userID},
                                 {"time", exam.machine.time},
                                 {"watchedMS", exam.watched ? exam.watched->milliseconds : 0},
                                 {"wrong", countOf(findings, eSeverity::eWrong)},
                                 {"notices", countOf(findings, eSeverity::eNotice)},
                                 {"findings", nlohmann::ordered_json::array()}};
  for (const Finding& finding : findings)
    json["findings"].push_back(findingJson(finding));
  return json;
}

void diagnose(const DoctorOptions& options, int& status) {
  const auto source = openSource(options.from);
  const inspect::Exam exam = examine(*source, options.isQuick);
  const Findings findings = inspect::diagnose(exam);
  print(options.asJson ? dump(doctorJson(exam, findings), 2) + "\n" : text(findings));
  if (countOf(findings, eSeverity::eWrong) != 0) status = eExitFindings;
}

}  // namespace

void addDoctorCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "doctor",
      "Say what is wrong on this machine for sessions, by which evidence, and what to do. Watches "
      "the session for 5 seconds. Reads only.");
  const auto options = std::make_shared<DoctorOptions>();
  command->add_flag("--quick", options->isQuick,
                    "Do not watch: who lives, and whether the lock is stuck, is not judged");
  addFromOption(*command, options->from);
  command->get_option("--from")->description("Look at a snapshot instead of this machine");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc doctor --json");
  command->callback([options, &status] { diagnose(*options, status); });
}

}  // namespace tools
