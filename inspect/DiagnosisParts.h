// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <set>
#include <string>

#include "inspect/Diagnosis.h"

/// The parts of a diagnosis, by subject. Each adds its findings.
namespace inspect {

using Findings = std::vector<Finding>;

void diagnoseLimits(const Exam& exam, Findings& findings);
void diagnoseMachine(const Exam& exam, Findings& findings);
void diagnoseLeftovers(const Exam& exam, Findings& findings);
void diagnoseNames(const Exam& exam, Findings& findings);
void diagnoseAccess(const Exam& exam, Findings& findings);
void diagnoseSession(const Exam& exam, Findings& findings);
void diagnoseClients(const Exam& exam, Findings& findings);

/// "1 client", "3 clients"
std::string countText(std::uint64_t count, const std::string& thing);
/// The name in quotation marks.
std::string quoted(const std::string& name);
/// "user 501 (anna)" where that is who looked, else "user 501".
std::string userText(std::uint32_t user, const MachineFacts& machine);

inline bool isOnMac(const MachineFacts& machine) {
  return machine.system.starts_with("Darwin");
}

}  // namespace inspect
