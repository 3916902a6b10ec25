// SPDX-License-Identifier: BSL-1.0

// lipc top on a terminal, as a person would use it.
#include <regex>

#include "tests/support/Process.h"

namespace {

using namespace support;

struct Tmux {
  ~Tmux() { (*this)("kill-server"); }

  std::string operator()(const std::string& arguments) const {
    const std::string line = "TMUX_TMPDIR=" + testing::TempDir() +
                             " LC_ALL=C.UTF-8 tmux -L top -f /dev/null " + arguments + " 2>&1";
    std::FILE* pipe = popen(line.c_str(), "r");
    std::string output;
    for (int c; (c = std::fgetc(pipe)) != EOF;)
      output += static_cast<char>(c);
    pclose(pipe);
    return output;
  }
  void expect(const std::string& text) const {
    std::string screen;
    EXPECT_TRUE(eventually(10s,
                           [&] {
                             screen = (*this)("capture-pane -p -t 0");
                             return std::regex_search(screen, std::regex(text));
                           }))
        << text << "\n"
        << screen;
  }
};

TEST(TopScreen, ShowsTheLevelOfAToneOpensAClientAndLeavesTheTerminalAsItWas) {
  if (std::system("tmux -V > /dev/null 2>&1") != 0) GTEST_SKIP() << "tmux is not installed";
  std::optional<Process> host;
  const auto startHost = [&] {
    host.emplace(std::vector<std::string>{LIPC_COMMAND, "host"});
    ASSERT_TRUE(host->waitForLine("Clients", 15s)) << host->output();
  };
  startHost();
  Process tone({LIPC_EXAMPLES "/tone", "--level", "-12"});
  ASSERT_TRUE(tone.waitForLine("joined", 10s));

  const Tmux tmux;
  const std::string top = "\"" LIPC_COMMAND "\" top; echo status $?; ";
  tmux("new-session -d -x 80 -y 24 'trap : INT; stty -g; " + top + "read x; " + top +
       "stty -g; sleep 100'");
  tmux.expect("host beating  1 client  sends  by row");
  tmux.expect("\n *0 tone +Tone +TONE +alive +1[0-9]{2}\\.[0-9] .* -12\\.0 █");
  tmux("send-keys Enter");
  tmux.expect("\n +1  -12\\.0 █[^]*\n  tone -> meter  2 wires\n[^]*\nq quit  Esc back");
  tmux("resize-window -x 40 -y 10");
  tmux.expect("mode 5 [^]*\nq quit  Esc back  p pause  r returns\n$");
  tmux("send-keys Escape");
  tmux.expect("\n *0 tone .* -12\\.0 [^]*\nq quit  h help  Enter open  s sort\n$");
  host->signal(SIGKILL);
  tmux.expect("host stalled");
  startHost();
  tmux.expect("host beating");

  tmux("resize-window -x 150 -y 24");
  tmux("send-keys q");
  tmux.expect("[0-9a-f:]{30,}\nstatus 0\n");
  tmux("send-keys Enter");
  tmux.expect("\nq quit  h help");
  tmux("send-keys C-c");
  tmux.expect("([0-9a-f:]{30,})\nstatus 0\n\nstatus 0\n\\1\n");
}

}  // namespace
