// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopScreen.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>

// Before what curses defines as macros.
#include <curses.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/select.h>
#include <unistd.h>

#include "tools/Terminal.h"
#include "tools/top/TopLine.h"

namespace tools {
namespace {

constexpr int cEscapeKey = 27;
constexpr int cEscapeDelayMS = 25;  // to tell the key from a sequence that begins with it
constexpr int cEndSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile std::sig_atomic_t sIsEndAsked = 0;

bool canPlaceCharacters() {
  const char* name = std::getenv("TERM");
  return isTerminal(STDIN_FILENO) && isTerminal(STDOUT_FILENO) && name != nullptr &&
         *name != '\0' && std::string_view(name) != "dumb";
}

bool areColorsAllowed() {
  const char* no = std::getenv("NO_COLOR");
  return no == nullptr || *no == '\0';
}

eTopKey keyOf(int code) {
  static const std::map<int, eTopKey> cKeys{
      {KEY_UP, eTopKey::eUp},     {'k', eTopKey::eUp},           {KEY_DOWN, eTopKey::eDown},
      {'j', eTopKey::eDown},      {KEY_PPAGE, eTopKey::ePageUp}, {KEY_NPAGE, eTopKey::ePageDown},
      {KEY_HOME, eTopKey::eHome}, {KEY_END, eTopKey::eEnd},      {'g', eTopKey::eHome},
      {'G', eTopKey::eEnd},       {KEY_ENTER, eTopKey::eOpen},   {'\n', eTopKey::eOpen},
      {'\r', eTopKey::eOpen},     {cEscapeKey, eTopKey::eBack},  {KEY_BACKSPACE, eTopKey::eBack},
      {'s', eTopKey::eSort},      {'S', eTopKey::eReverse},      {'p', eTopKey::ePause},
      {' ', eTopKey::ePause},     {'r', eTopKey::eReturns},      {'h', eTopKey::eHelp},
      {'?', eTopKey::eHelp},      {'q', eTopKey::eQuit},
  };
  const auto found = cKeys.find(code);
  return found != cKeys.end() ? found->second : eTopKey::eNone;
}

}  // namespace

/// Set up in an order that leaves no signal to what curses does at one, which is to exit. Signals
/// are let in while it waits and at no other time, so that none is lost between a look at
/// sIsEndAsked and the wait.
struct TopScreen::Terminal {
  Terminal() {
    struct sigaction action {};
    action.sa_handler = [](int) { sIsEndAsked = 1; };
    sigemptyset(&action.sa_mask);
    sIsEndAsked = 0;
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGWINCH);
    for (const int signal : cEndSignals)
      sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &maskBefore);
    for (std::size_t i = 0; i < std::size(cEndSignals); ++i)
      sigaction(cEndSignals[i], &action, &before[i]);
  }
  ~Terminal() {
    if (screen != nullptr) {
      endwin();
      delscreen(screen);
    }
    for (std::size_t i = 0; i < std::size(cEndSignals); ++i)
      sigaction(cEndSignals[i], &before[i], nullptr);
    pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool open() {
    screen = newterm(nullptr, stdout, stdin);
    if (screen == nullptr) return false;
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(cEscapeDelayMS);
    curs_set(0);
    if (areColorsAllowed() && has_colors() && start_color() == OK) useColors();
    return true;
  }

  void waitForInput(std::chrono::milliseconds limit) const {
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    const timespec time{limit.count() / 1000, limit.count() % 1000 * 1'000'000};
    pselect(STDIN_FILENO + 1, &input, nullptr, nullptr, &time, &maskBefore);
  }

  void useColors() {
    const short background = use_default_colors() == OK ? -1 : COLOR_BLACK;
    init_pair(1, COLOR_GREEN, background);
    init_pair(2, COLOR_YELLOW, background);
    init_pair(3, COLOR_RED, background);
    hasColors = true;
  }

  attr_t attributesOf(eTopStyle style) const {
    const auto color = [&](int pair) {
      return hasColors ? static_cast<attr_t>(COLOR_PAIR(pair)) : A_NORMAL;
    };
    switch (style) {
      case eTopStyle::ePlain:
        break;
      case eTopStyle::eDim:
        return A_DIM;
      case eTopStyle::eBold:
        return A_BOLD;
      case eTopStyle::eGreen:
        return color(1);
      case eTopStyle::eYellow:
        return color(2);
      case eTopStyle::eRed:
        return color(3);
    }
    return A_NORMAL;
  }

  void put(int row, const TopLine& line) const {
    const attr_t all = line.isSelected ? A_REVERSE : A_NORMAL;
    int left = COLS;
    wmove(stdscr, row, 0);
    for (const TopSpan& span : line.spans) {
      const int columns = std::min(static_cast<int>(columnsOf(span.text)), left);
      attrset(static_cast<int>(attributesOf(span.style) | all));
      addstr(fitted(span.text, columns, isLocaleUTF8()).c_str());
      left -= columns;
    }
    attrset(static_cast<int>(all));
    addstr(std::string(static_cast<std::size_t>(left), ' ').c_str());
    attrset(A_NORMAL);
  }

  SCREEN* screen = nullptr;
  bool hasColors = false;
  struct sigaction before[std::size(cEndSignals)]{};
  sigset_t maskBefore{};
};

TopScreen::TopScreen(std::unique_ptr<Terminal> terminal) : mTerminal(std::move(terminal)) {}

TopScreen::~TopScreen() = default;

std::unique_ptr<TopScreen> TopScreen::open() {
  if (!canPlaceCharacters()) return nullptr;
  auto terminal = std::make_unique<Terminal>();
  if (!terminal->open()) return nullptr;
  return std::unique_ptr<TopScreen>(new TopScreen(std::move(terminal)));
}

void TopScreen::show(TopView& view) {
  const std::vector<TopLine> lines = view.lines(COLS, LINES);
  erase();
  for (std::size_t row = 0; row < lines.size(); ++row)
    mTerminal->put(static_cast<int>(row), lines[row]);
  refresh();
}

eTopKey TopScreen::wait(std::chrono::milliseconds limit) {
  int code = getch();
  if (code == ERR && !isOver()) {
    mTerminal->waitForInput(limit);
    code = getch();
    pollfd input{STDIN_FILENO, POLLIN, 0};
    mIsHungUp = code == ERR && poll(&input, 1, 0) > 0 && (input.revents & (POLLHUP | POLLERR)) != 0;
  }
  return code == ERR ? eTopKey::eNone : keyOf(code);
}

bool TopScreen::isOver() const {
  return mIsHungUp || sIsEndAsked != 0;
}

bool isLocaleUTF8() {
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8";
}

}  // namespace tools
