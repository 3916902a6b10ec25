// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// The command line as a shell completes it, taken from the command itself, and the scripts that
/// tell the shells. Nothing about a subcommand is written here, so a script is never behind.
namespace tools {

/// What may stand for a value.
enum class eCompleted {
  eText,      // anything: the shell has nothing to offer
  eChoice,    // one of a few words
  eFile,      // a file
  eFolder,    // a folder
  eClientID,  // a client of the session, asked for when it is needed
};

/// An option, or an argument that stands for itself.
struct CompletedArgument {
  std::vector<std::string> names;  // with their dashes; empty: the argument stands for itself
  std::string label;               // what its value is called in the help
  std::string description;         // one line
  bool takesValue;
  bool isRequired;
  bool isRepeatable;
  eCompleted kind;
  std::vector<std::string> choices;
};

struct CompletedCommand {
  std::string name;
  std::string path;  // all names from the program on, with a space between
  std::string description;
  std::vector<CompletedArgument> options;
  std::vector<CompletedArgument> positionals;  // in their order
  std::vector<CompletedCommand> subcommands;
};

/// What is hidden from the help (an empty group) is hidden here.
CompletedCommand completedCommand(const CLI::App& app, const std::string& parentPath = "");

/// The scripts. Each can be sourced, or put where the shell looks for completions.
std::string bashCompletion(const CompletedCommand& command);
std::string zshCompletion(const CompletedCommand& command);
std::string fishCompletion(const CompletedCommand& command);

}  // namespace tools
