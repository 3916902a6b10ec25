// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Consent.h"
#include "tools/Failure.h"
#include "tools/Findings.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Reaper.h"
#include "tools/Text.h"

namespace tools {
namespace {

using eAction = Verdict::eAction;

struct ReapOptions {
  bool isDryRun = false;
  bool yes = false;
  bool asJson = false;
};

const char* actionText(eAction action) {
  return action == eAction::eRemove ? "remove" : action == eAction::eKeep ? "keep" : "others";
}

std::string text(const ReapPlan& plan) {
  std::string all;
  for (const Verdict& verdict : plan.verdicts) {
    all += wrapped(fmt::format("{:8}", actionText(verdict.action)), verdict.title);
    for (const std::string& evidence : verdict.evidence)
      all += wrapped("        - ", evidence);
  }
  return all;
}

nlohmann::ordered_json reapJson(const ReapPlan& plan, bool isDryRun, const Reaped& reaped) {
  nlohmann::ordered_json json = {
      {"format", "lipc-reap"},     {"version", 1},
      {"dryRun", isDryRun},        {"verdicts", nlohmann::ordered_json::array()},
      {"removed", reaped.removed}, {"kept", reaped.kept}};
  for (const Verdict& verdict : plan.verdicts)
    json["verdicts"].push_back({{"what", verdict.what},
                                {"name", verdict.name},
                                {"verdict", verdict.verdict},
                                {"action", actionText(verdict.action)},
                                {"title", verdict.title},
                                {"evidence", verdict.evidence}});
  return json;
}

std::string question(long things) {
  return things == 1 ? "Remove this thing?" : fmt::format("Remove these {} things?", things);
}

std::string outcome(const Reaped& reaped) {
  std::string all;
  for (const std::string& phrase : reaped.removed)
    all += wrapped("removed ", phrase);
  for (const std::string& sentence : reaped.kept)
    all += wrapped("kept    ", sentence);
  return all.empty() ? "Nothing was left to remove.\n" : all;
}

void runReap(const ReapOptions& options, int& status) {
  const auto source = inspect::openMachine();
  const inspect::Exam exam = examine(*source, false);
  const ReapPlan plan = planReap(exam);
  const long things = plan.count(eAction::eRemove);
  if (!options.asJson) print(text(plan));
  Reaped reaped;
  if (things > 0 && !options.isDryRun) {
    askOrFail(question(things), options.yes);
    reaped = reap(plan, exam, *source);
    if (!options.asJson) print("\n" + outcome(reaped));
  } else if (!options.asJson) {
    print(things == 0 ? "Nothing is to be removed.\n"
                      : fmt::format("\n{} would be removed.\n",
                                    things == 1 ? "1 thing" : fmt::format("{} things", things)));
  }
  if (options.asJson) print(dump(reapJson(plan, options.isDryRun, reaped), 2) + "\n");
  if (things == 0 && plan.count(eAction::eOtherUser) > 0) status = eExitNoPermission;
}

}  // namespace

void addReapCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "reap",
      "Remove what is provably dead: the session of a dead host, dead clients, and what such left "
      "on this machine. Asks first.");
  const auto options = std::make_shared<ReapOptions>();
  command->add_flag("--dry-run", options->isDryRun,
                    "Change nothing; print the evidence for each verdict and what would be done");
  command->add_flag("-y,--yes", options->yes, "Do not ask");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc reap --dry-run");
  command->callback([options, &status] { runReap(*options, status); });
}

}  // namespace tools
