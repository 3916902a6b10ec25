// SPDX-License-Identifier: BSL-1.0
#include "tools/completion/Completion.h"

#include <sstream>
#include <string_view>

namespace tools {
namespace {

std::string oneLine(std::string text) {
  for (char& character : text) {
    if (static_cast<unsigned char>(character) < ' ') character = ' ';
  }
  return text;
}

/// The words of the first `{a,b}` or `{a->1,b->2}` in the name of a type: how a check against a
/// list, or a translation, describes itself.
std::vector<std::string> choicesOf(const std::string& type) {
  std::vector<std::string> choices;
  const std::size_t open = type.find('{');
  const std::size_t close = type.find('}', open);
  if (open == std::string::npos || close == std::string::npos) return choices;
  std::istringstream list(type.substr(open + 1, close - open - 1));
  for (std::string choice; std::getline(list, choice, ',');)
    choices.push_back(choice.substr(0, choice.find("->")));
  return choices;
}

/// By the words of the type's name: that of the type itself, then those of its checks.
eCompleted kindOf(const std::string& type) {
  std::istringstream words(type);
  for (std::string word; std::getline(words, word, ':');) {
    const auto is = [&](std::string_view name) {
      return word == name || word.starts_with(std::string(name) + "(");
    };
    if (is("ID")) return eCompleted::eClientID;
    if (is("DIR")) return eCompleted::eFolder;
    if (is("FILE") || is("PATH")) return eCompleted::eFile;
  }
  return eCompleted::eText;
}

CompletedArgument argument(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  CompletedArgument result;
  for (const std::string& name : option.get_snames())
    result.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames())
    result.names.push_back("--" + name);
  result.label = type.substr(0, type.find_first_of(":{"));
  result.description = oneLine(option.get_description());
  result.takesValue = option.get_items_expected_max() > 0;
  result.isRequired = option.get_required();
  result.isRepeatable = option.get_items_expected_max() > 1;
  result.choices = choicesOf(type);
  result.kind = result.choices.empty() ? kindOf(type) : eCompleted::eChoice;
  return result;
}

}  // namespace

CompletedCommand completedCommand(const CLI::App& app, const std::string& parentPath) {
  CompletedCommand result;
  result.name = app.get_name();
  result.path = parentPath + result.name;
  result.description = oneLine(app.get_description());
  for (const CLI::Option* const option : app.get_options()) {
    if (option->get_group().empty()) continue;
    (option->nonpositional() ? result.options : result.positionals).push_back(argument(*option));
  }
  const auto shown = [](const CLI::App* each) {
    return !each->get_group().empty() && !each->get_name().empty();
  };
  for (const CLI::App* const subcommand : app.get_subcommands(shown))
    result.subcommands.push_back(completedCommand(*subcommand, result.path + " "));
  return result;
}

}  // namespace tools
