// SPDX-License-Identifier: BSL-1.0

// Completion for zsh: a function a command, each with what zsh's _arguments takes.
#include <string_view>

#include <fmt/core.h>

#include "tools/completion/Completion.h"

namespace tools {
namespace {

std::string zshQuoted(const std::string& text) {
  std::string result = "'";
  for (const char character : text)
    result += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return result + "'";
}

/// With a backslash before each of these.
std::string zshEscaped(const std::string& text, std::string_view special) {
  std::string result;
  for (const char character : text) {
    if (special.find(character) != std::string_view::npos) result += '\\';
    result += character;
  }
  return result;
}

std::string functionName(const CompletedCommand& command) {
  std::string name = "_lipc_at_" + command.path;
  for (char& character : name) {
    if (character == ' ' || character == '-') character = '_';
  }
  return name;
}

/// A heading over what is offered, in which % is a prompt's.
std::string heading(const std::string& text) {
  std::string result;
  for (const char character : text) {
    if (character == ':' || character == '%') result += character == ':' ? '\\' : '%';
    result += character;
  }
  return result;
}

/// ":message:action" of a value.
std::string value(const CompletedArgument& argument, const std::string& message) {
  std::string action = " ";
  switch (argument.kind) {
    case eCompleted::eChoice:
      action = "(";
      for (const std::string& choice : argument.choices)
        action +=
            (action.size() > 1 ? " " : "") + zshEscaped(choice, " \t\\:'\"`$()[]{}<>|&;*?~#!^=");
      action += ")";
      break;
    case eCompleted::eFile:
      action = "_files";
      break;
    case eCompleted::eFolder:
      action = "_files -/";
      break;
    case eCompleted::eClientID:
      action = "_lipc_ids";
      break;
    case eCompleted::eText:
      break;
  }
  return ":" + heading(message) + ":" + action;
}

/// For each name what _arguments wants: "(all names)--name[description]:message:action".
std::string optionSpecifications(const CompletedArgument& option) {
  std::string all, text;
  for (const std::string& name : option.names)
    all += (all.empty() ? "" : " ") + name;
  for (const std::string& name : option.names) {
    std::string one = option.isRepeatable ? "*" : "(" + all + ")";
    one += name;
    if (option.takesValue) one += name.starts_with("--") ? "=" : "+";
    one += "[" + zshEscaped(option.description, "\\[]") + "]";
    if (option.takesValue) one += value(option, option.label);
    text += " \\\n    " + zshQuoted(one);
  }
  return text;
}

std::string argumentSpecifications(const CompletedCommand& command) {
  std::string text;
  for (const CompletedArgument& option : command.options)
    text += optionSpecifications(option);
  int number = 0;
  for (const CompletedArgument& positional : command.positionals) {
    const std::string place = positional.isRepeatable
                                  ? "*"
                                  : std::to_string(++number) + (positional.isRequired ? "" : ":");
    text += " \\\n    " + zshQuoted(place + value(positional, positional.description));
  }
  return text;
}

std::string functions(const CompletedCommand& command) {
  std::string text = functionName(command) + "() {\n";
  if (command.subcommands.empty()) {
    text += "  _arguments -S" + argumentSpecifications(command) + "\n}\n\n";
    return text;
  }
  std::string names, calls;
  for (const CompletedCommand& subcommand : command.subcommands) {
    names += "        " +
             zshQuoted(zshEscaped(subcommand.name, "\\:") + ":" +
                       zshEscaped(subcommand.description, "\\")) +
             "\n";
    calls += fmt::format("        {}) {} ;;\n", subcommand.name, functionName(subcommand));
  }
  text += "  local state line context\n  typeset -A opt_args\n  _arguments -C -S" +
          argumentSpecifications(command) +
          " \\\n    '1: :->command' \\\n    '*:: :->rest' && return\n"
          "  case $state in\n"
          "    command)\n"
          "      local -a commands\n"
          "      commands=(\n" +
          names +
          "      )\n"
          "      _describe -t commands command commands\n"
          "      ;;\n"
          "    rest)\n"
          "      case $words[1] in\n" +
          calls +
          "      esac\n"
          "      ;;\n"
          "  esac\n"
          "}\n\n";
  for (const CompletedCommand& subcommand : command.subcommands)
    text += functions(subcommand);
  return text;
}

}  // namespace

std::string zshCompletion(const CompletedCommand& command) {
  return "#compdef lipc\n"
         "# Completion of lipc for zsh. In ~/.zshrc, behind compinit: source <(lipc completion "
         "zsh)\n"
         "# Or as a file _lipc in a folder of $fpath.\n"
         "\n"
         "_lipc_ids() {\n"
         "  local -a ids expl\n"
         "  ids=(${(f)\"$($_lipc_program ls --ids 2>/dev/null)\"})\n"
         "  _wanted clients expl client compadd -a ids\n"
         "}\n"
         "\n" +
         functions(command) +
         "_lipc() {\n"
         "  local _lipc_program=${~${(Q)words[1]}}\n" +
         "  " + functionName(command) +
         "\n"
         "}\n"
         "\n"
         "if [[ $funcstack[1] == _lipc ]]; then\n"
         "  _lipc\n"
         "else\n"
         "  compdef _lipc lipc\n"
         "fi\n";
}

}  // namespace tools
