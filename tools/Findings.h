// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "inspect/Diagnosis.h"

/// How a diagnosis is made and shown, for the subcommands that diagnose and mend.
namespace tools {

/// Looks at everything; watches the session for inspect::cFullWatch where there is one, unless
/// `isQuick`, with a line of progress on standard error where that is a terminal.
inspect::Exam examine(inspect::Source& source, bool isQuick);

/// A title with its marks, evidence and what to do, wrapped at 80 columns; ends with a line feed.
/// `hasColours`: for a terminal.
std::string findingText(const inspect::Finding& finding, bool hasColours);
nlohmann::ordered_json findingJson(const inspect::Finding& finding);

/// Words on lines of at most 80 columns, `first` in front of the first, as many spaces in front of
/// the others; escaped.
std::string wrapped(const std::string& first, const std::string& text);

/// Whether standard output wants colours: a terminal, without NO_COLOR.
bool wantsColours();

}  // namespace tools
