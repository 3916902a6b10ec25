#include "inspect/Diagnosis.h"

#include <algorithm>

#include "inspect/DiagnosisParts.h"

namespace inspect {

std::string countText(std::uint64_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string quoted(const std::string& name) {
  return "\"" + name + "\"";
}

std::string userText(std::uint32_t user, const MachineFacts& machine) {
  std::string text = "user " + std::to_string(user);
  if (user == machine.userID && !machine.user.empty()) text += " (" + machine.user + ")";
  return text;
}

std::vector<Finding> diagnose(const Exam& exam) {
  Findings findings;
  diagnoseSession(exam, findings);
  diagnoseClients(exam, findings);
  diagnoseNames(exam, findings);
  diagnoseAccess(exam, findings);
  diagnoseLeftovers(exam, findings);
  diagnoseLimits(exam, findings);
  diagnoseMachine(exam, findings);
  if (!exam.watched) {
    findings.push_back({"not-watched",
                        eSeverity::eNotice,
                        {},
                        "The session was not watched: whether its host and its clients live, and "
                        "whether the registration lock is stuck, was not judged.",
                        {},
                        {"lipc doctor"}});
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.severity < b.severity; });
  return findings;
}

}  // namespace inspect
