// SPDX-License-Identifier: BSL-1.0
#include "tools/CommandName.h"

#include <regex>

namespace tools {
namespace {

std::string sName = "lipc";

}  // namespace

const std::string& commandName() {
  return sName;
}

void setCommandName(const std::string& called) {
  const bool isPlain = std::regex_match(called, std::regex("[A-Za-z0-9_./+-]+"));
  const std::string quote = "'\\''";
  sName = isPlain ? called : "'" + std::regex_replace(called, std::regex("'"), quote) + "'";
}

std::string asCalled(const std::string& text) {
  static const std::regex command("(^|: |sudo |sudo -u '#[0-9]+' )lipc (?=[a-z])");
  std::string all;
  auto from = text.cbegin();
  for (std::sregex_iterator found(text.begin(), text.end(), command), end; found != end; ++found) {
    all.append(from, (*found)[0].first).append((*found)[1]).append(sName).append(" ");
    from = (*found)[0].second;
  }
  return all.append(from, text.cend());
}

}  // namespace tools
