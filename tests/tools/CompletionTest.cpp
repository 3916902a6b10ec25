// SPDX-License-Identifier: BSL-1.0

// Completion as a shell does it, for a command line that has everything that could break a script.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/Commands.h"
#include "tools/completion/Completion.h"

namespace {

constexpr const char* cNasty = R"(it's "so"; [a] {b}: $(exit 9) `exit 9` \ $HOME 100 %d #c)";

struct NastyCommand {
  CLI::App app{cNasty, "lipc"};
  std::string text;
  std::vector<std::string> texts;

  NastyCommand() {
    app.add_flag("--flag", cNasty);
    CLI::App* const show = app.add_subcommand("show", cNasty);
    show->add_option("id", text, cNasty)->type_name("ID");
    show->add_option("shape", text, cNasty)->check(CLI::IsMember({"it's", "$(exit 9)", "a b"}));
    show->add_option("--from,-f", text, cNasty)->type_name("FILE");
    show->add_option("--width", text, cNasty)
        ->transform(CLI::CheckedTransformer(
            std::vector<std::pair<std::string, int>>{{"wide", 1}, {"narrow", 2}}));
    show->add_flag("--hidden", cNasty)->group("");
    CLI::App* const inner = app.add_subcommand("in-ner", cNasty)->add_subcommand("most", cNasty);
    inner->add_option("ids", texts, cNasty)->type_name("ID");
    inner->add_flag("--all", cNasty);
  }
};

/// What bash offers for `words`, written as in a script, of which the last is being typed.
std::string offered(const std::string& words) {
  const std::string file = testing::TempDir() + "lipc-completion";
  std::ofstream(file) << tools::bashCompletion(tools::completedCommand(NastyCommand().app))
                      << "COMP_WORDS=(lipc " << words << ")"
                      << R"bash(
lipc() { [[ "$*" != 'ls --ids' ]] || printf '%s\n' tone "it's" 'a b' 'x:1' 'x:2'; }
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
eval "$(complete -p lipc | sed 's/.*-F \(.*\) lipc$/\1/')"
for word in ${COMPREPLY[@]+"${COMPREPLY[@]}"}; do printf '%s|' "$word"; done
)bash";
  std::FILE* const bash = popen(("exec 2>&1; bash '" + file + "'").c_str(), "r");
  std::string output;
  for (int c = std::fgetc(bash); c != EOF; c = std::fgetc(bash))
    output += static_cast<char>(c);
  EXPECT_EQ(pclose(bash), 0) << output;
  std::remove(file.c_str());
  return output;
}

TEST(Completion, BashOffersWhatTheCommandLineTakes) {
  const std::string ids = R"(tone|it\'s|a\ b|x:1|x:2|)", shapes = R"(it\'s|\$\(exit\ 9\)|a\ b|)";
  for (const auto& [words, expected] :
       std::vector<std::pair<std::string, std::string>>{{"''", "show|in-ner|"},
                                                        {"s", "show|"},
                                                        {"--flag in", "in-ner|"},
                                                        {"--", "--help|--flag|"},
                                                        {"show --", "--help|--from|--width|"},
                                                        {"show ''", ids},
                                                        {"show '\"a'", "a b|"},
                                                        {"show x : 2", "2|"},
                                                        {"show tone ''", shapes},
                                                        {"show --from most tone ''", shapes},
                                                        {"show --from = most ''", ids},
                                                        {"show --width ''", "wide|narrow|"},
                                                        {"show --width = n", "narrow|"},
                                                        {"show --from ''", ""},
                                                        {"show tone shape ''", ""},
                                                        {"in-ner ''", "most|"},
                                                        {"in-ner most tone tone i", R"(it\'s|)"},
                                                        {"in-ner most --a", "--all|"},
                                                        {"none ''", ""}})
    EXPECT_EQ(offered(words), expected) << words;
}

TEST(Completion, TheIDsOfClientsAreOfferedWhereACommandTakesOne) {
  CLI::App app("", "lipc");
  int status = 0;
  for (const auto add :
       {tools::addShowCommand, tools::addWatchCommand, tools::addGetCommand, tools::addSetCommand,
        tools::addStringCommand, tools::addConnectCommand, tools::addKickCommand})
    add(app, status);
  for (const auto& command : tools::completedCommand(app).subcommands)
    EXPECT_EQ(command.positionals[0].kind, tools::eCompleted::eClientID) << command.name;
}

}  // namespace
