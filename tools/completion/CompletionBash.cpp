// SPDX-License-Identifier: BSL-1.0

// Completion for bash 3.2 (macOS's) and later: no associative arrays, no mapfile.
#include <fmt/core.h>

#include "tools/completion/Completion.h"

namespace tools {
namespace {

/// Walks over the words that stand before the cursor, then offers what may stand there. The tree is
/// in the two functions before it: _lipc_words knows what a command has, _lipc_value what belongs
/// behind "COMMAND OPTION", or at "COMMAND NUMBER", counted from 1.
constexpr const char* cBashWalk = R"bash(
# Offers the candidates that begin with what is typed. Readline replaces the text behind the last :
# or = alone, so what stands before is left away.
_lipc_offer() {
  local candidate written
  for candidate in "$@"; do
    written=$candidate
    [[ $quote ]] || printf -v written %q "$candidate"
    if [[ $candidate == "$typed"* || $written == "$typed"* ]]; then
      COMPREPLY+=("${written#"$head"}")
    fi
  done
}

_lipc() {
  local path=lipc count=0 index word option= typed raw head quote= glue= kind values line
  local -a words=() options commands candidates=()
  COMPREPLY=()
  # bash cuts words at : and =. They are put together again.
  for ((index = 1; index <= COMP_CWORD; ++index)); do
    word=${COMP_WORDS[index]}
    if [[ ${#words[@]} != 0 && ( $glue || $word =~ ^[:=]+$ ) ]]; then
      words[${#words[@]} - 1]+=$word
    else
      words+=("$word")
    fi
    glue=
    [[ ! $word =~ ^[:=]+$ ]] || glue=yes
  done
  raw=${COMP_WORDS[COMP_CWORD]}
  [[ ! $raw =~ ^[:=]+$ ]] || raw=

  for ((index = 0; index < ${#words[@]} - 1; ++index)); do
    word=${words[index]}
    if [[ $option ]]; then
      option=
    elif [[ $word == -* ]]; then
      ! _lipc_value "$path $word" || option=$word
    elif [[ $count == 0 ]] && _lipc_words "$path $word"; then
      path+=" $word"
    else
      ((++count))
    fi
  done

  typed=${words[${#words[@]} - 1]}
  _lipc_words "$path"
  kind=none
  if [[ $option ]]; then
    _lipc_value "$path $option"
  elif [[ $typed == --*=* ]]; then
    option=${typed%%=*}
    typed=${typed#*=}
    _lipc_value "$path $option" || kind=none
  elif [[ $typed == -* ]]; then
    kind=choice values=("${options[@]}")
  elif [[ $count == 0 && ${#commands[@]} != 0 ]]; then
    kind=choice values=("${commands[@]}")
  else
    _lipc_value "$path $((count + 1))" || kind=none
  fi
  if [[ $typed == [\"\']* ]]; then
    quote=yes raw=${raw#[\"\']} typed=${typed:1}
  fi
  head=${typed%"$raw"}

  case $kind in
    choice) _lipc_offer "${values[@]}" ;;
    id)
      while IFS= read -r line; do
        candidates+=("$line")
      done < <("${COMP_WORDS[0]}" ls --ids 2>/dev/null)
      _lipc_offer ${candidates[@]+"${candidates[@]}"}
      ;;
    folder) compopt -o dirnames +o default 2>/dev/null ;;
    file) ;;  # what bash does where nothing is offered
    *) compopt +o default 2>/dev/null ;;
  esac
}

complete -o default -F _lipc lipc
)bash";

std::string inQuotes(const std::string& text) {
  std::string result = "'";
  for (const char character : text)
    result += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return result + "'";
}

std::string list(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts)
    result += (result.empty() ? "" : " ") + inQuotes(text);
  return "(" + result + ")";
}

const char* kindName(eCompleted kind) {
  switch (kind) {
    case eCompleted::eChoice:
      return "choice";
    case eCompleted::eFile:
      return "file";
    case eCompleted::eFolder:
      return "folder";
    case eCompleted::eClientID:
      return "id";
    case eCompleted::eText:
      break;
  }
  return "none";
}

std::string wordsCases(const CompletedCommand& command) {
  std::vector<std::string> options, commands;
  for (const CompletedArgument& option : command.options)
    options.insert(options.end(), option.names.begin(), option.names.end());
  for (const CompletedCommand& subcommand : command.subcommands)
    commands.push_back(subcommand.name);
  std::string text = fmt::format("    {}) options={} commands={} ;;\n", inQuotes(command.path),
                                 list(options), list(commands));
  for (const CompletedCommand& subcommand : command.subcommands)
    text += wordsCases(subcommand);
  return text;
}

std::string valueCase(const std::string& pattern, const CompletedArgument& argument) {
  return fmt::format("    {}) kind={} values={} ;;\n", pattern, kindName(argument.kind),
                     list(argument.choices));
}

std::string valueCases(const CompletedCommand& command) {
  std::string text;
  for (const CompletedArgument& option : command.options) {
    if (!option.takesValue) continue;
    for (const std::string& name : option.names)
      text += valueCase(inQuotes(command.path + " " + name), option);
  }
  int number = 0;
  for (const CompletedArgument& positional : command.positionals) {
    const std::string pattern = positional.isRepeatable
                                    ? inQuotes(command.path + " ") + "[0-9]*"
                                    : inQuotes(command.path + " " + std::to_string(++number));
    text += valueCase(pattern, positional);
  }
  for (const CompletedCommand& subcommand : command.subcommands)
    text += valueCases(subcommand);
  return text;
}

}  // namespace

std::string bashCompletion(const CompletedCommand& command) {
  return "# Completion of lipc for bash. In ~/.bashrc: source <(lipc completion bash)\n"
         "\n"
         "_lipc_words() {\n"
         "  case $1 in\n" +
         wordsCases(command) +
         "    *) return 1 ;;\n"
         "  esac\n"
         "}\n"
         "\n"
         "_lipc_value() {\n"
         "  case $1 in\n" +
         valueCases(command) +
         "    *) return 1 ;;\n"
         "  esac\n"
         "}\n" +
         cBashWalk;
}

}  // namespace tools
