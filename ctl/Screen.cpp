#include "ctl/Screen.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>

#include "ctl/Output.h"

namespace norvane::ctl {

namespace {

// Sequences of ECMA-48, and those of xterm for the second screen and the cursor.
constexpr const char* Begin = "\x1b[?1049h\x1b[?25l";
constexpr const char* End = "\x1b[?25h\x1b[?1049l";
constexpr const char* Home = "\x1b[H";
constexpr const char* ClearRestOfLine = "\x1b[K";
constexpr const char* ClearBelow = "\x1b[J";

volatile std::sig_atomic_t isEndAsked = 0;

constexpr int EndSignals[] = {SIGINT, SIGTERM, SIGHUP};

}  // namespace

bool Screen::IsTerminal() {
  return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

Screen::Screen() {
  if (!IsTerminal() || ::tcgetattr(STDIN_FILENO, &m_before) != 0)
    throw std::runtime_error("not on a terminal");
  for (const int signal : EndSignals)
    std::signal(signal, [](int) { isEndAsked = 1; });
  auto raw = m_before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  Print(Begin);
}

Screen::~Screen() {
  std::fputs(End, stdout);
  std::fflush(stdout);
  ::tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
  for (const int signal : EndSignals)
    std::signal(signal, SIG_DFL);
}

Screen::Size Screen::CurrentSize() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {80, 24};
  return {size.ws_col, size.ws_row};
}

void Screen::Show(const std::vector<std::string>& lines) {
  std::string text = Home;
  for (const auto& line : lines)
    text += (&line == &lines.front() ? "" : "\r\n") + line + ClearRestOfLine;
  Print(text + ClearBelow);
}

bool Screen::IsEndWanted() {
  while (isEndAsked == 0) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, 0) <= 0) return false;
    char key = 0;
    if (::read(STDIN_FILENO, &key, 1) != 1) return true;  // the terminal has gone
    if (key == 'q' || key == 'Q') return true;
  }
  return true;
}

}  // namespace norvane::ctl
