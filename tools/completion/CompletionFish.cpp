// SPDX-License-Identifier: BSL-1.0

// Completion for fish: a line for each thing that may be offered, with the condition under which.
#include <fmt/core.h>

#include "tools/completion/Completion.h"

namespace tools {
namespace {

/// Within single quotes fish knows two escapes.
std::string fishQuoted(const std::string& text) {
  std::string result = "'";
  for (const char character : text) {
    if (character == '\'' || character == '\\') result += '\\';
    result += character;
  }
  return result + "'";
}

/// Which command the cursor is in, and how many arguments stand before it.
constexpr const char* cFishWalk = R"fish(
function __lipc_at --description 'The cursor is in this command, behind so many arguments'
    set -l path lipc
    set -l count 0
    set -l is_value 0
    for word in (commandline -opc)[2..]
        if test $is_value = 1
            set is_value 0
        else if string match -q -- '-*' $word
            contains -- "$path $word" $__lipc_valued; and set is_value 1
        else if test $count = 0; and contains -- "$path $word" $__lipc_commands
            set path "$path $word"
        else
            set count (math $count + 1)
        end
    end
    test $path = "$argv[1]"; or return 1
    test (count $argv) = 1; or test $count = $argv[2]; or begin
        test "$argv[3]" = more; and test $count -gt $argv[2]
    end
end

function __lipc_ids --description 'The IDs of the clients in the session'
    set -l words (commandline -opc)
    $words[1] ls --ids 2>/dev/null
end

complete -c lipc -f
)fish";

/// The part of a line that says what a value may be.
std::string value(const CompletedArgument& argument) {
  std::string words;
  switch (argument.kind) {
    case eCompleted::eFile:
      return " -F";
    case eCompleted::eFolder:
      return " -a '(__fish_complete_directories (commandline -ct))'";
    case eCompleted::eClientID:
      return " -a '(__lipc_ids)'";
    case eCompleted::eChoice:  // evaluated once more, hence quoted twice
      for (const std::string& choice : argument.choices)
        words += (words.empty() ? "" : " ") + fishQuoted(choice);
      return " -a " + fishQuoted(words);
    case eCompleted::eText:
      break;
  }
  return "";
}

std::string line(const std::string& condition) {
  return "complete -c lipc -n " + fishQuoted("__lipc_at " + condition);
}

std::string optionLine(const CompletedCommand& command, const CompletedArgument& option) {
  std::string text = line(fishQuoted(command.path));
  for (const std::string& name : option.names) {
    const bool isLong = name.starts_with("--");
    text += (isLong ? " -l " : " -s ") + fishQuoted(name.substr(isLong ? 2 : 1));
  }
  if (option.takesValue) {
    text += " -r";
    if (option.kind != eCompleted::eFile) text += " -f";
    text += value(option);
  }
  return text + " -d " + fishQuoted(option.description) + "\n";
}

std::string lines(const CompletedCommand& command) {
  std::string text;
  for (const CompletedCommand& subcommand : command.subcommands) {
    text += line(fishQuoted(command.path) + " 0") + " -a " +
            fishQuoted(fishQuoted(subcommand.name)) + " -d " + fishQuoted(subcommand.description) +
            "\n";
  }
  for (const CompletedArgument& option : command.options)
    text += optionLine(command, option);
  int number = 0;
  for (const CompletedArgument& positional : command.positionals) {
    const std::string offered = value(positional);
    if (!offered.empty()) {
      text += line(fmt::format("{} {}{}", fishQuoted(command.path), number,
                               positional.isRepeatable ? " more" : "")) +
              offered + "\n";
    }
    ++number;
  }
  for (const CompletedCommand& subcommand : command.subcommands)
    text += "\n" + lines(subcommand);
  return text;
}

void collect(const CompletedCommand& command, std::string& commands, std::string& valued) {
  for (const CompletedCommand& subcommand : command.subcommands) {
    commands += " " + fishQuoted(subcommand.path);
    collect(subcommand, commands, valued);
  }
  for (const CompletedArgument& option : command.options) {
    if (!option.takesValue) continue;
    for (const std::string& name : option.names)
      valued += " " + fishQuoted(command.path + " " + name);
  }
}

}  // namespace

std::string fishCompletion(const CompletedCommand& command) {
  std::string commands, valued;
  collect(command, commands, valued);
  return "# Completion of lipc for fish: lipc completion fish "
         "> ~/.config/fish/completions/lipc.fish\n"
         "\n"
         "set -g __lipc_commands" +
         commands + "\nset -g __lipc_valued" + valued + "\n" + cFishWalk + lines(command);
}

}  // namespace tools
