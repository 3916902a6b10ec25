// SPDX-License-Identifier: BSL-1.0
#include "inspect/Diagnosis.h"

#include <utility>

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

std::string asUser(std::uint32_t user, const std::string& command) {
  return user == 0 ? "sudo " + command : "sudo -u '#" + std::to_string(user) + "' " + command;
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
  Findings ordered;
  for (const eSeverity severity : {eSeverity::eWrong, eSeverity::eNotice, eSeverity::eFine}) {
    for (Finding& finding : findings)
      if (finding.severity == severity) ordered.push_back(std::move(finding));
  }
  return ordered;
}

}  // namespace inspect
