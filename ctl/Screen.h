#pragma once

#include <termios.h>

#include <cstddef>
#include <string>
#include <vector>

namespace norvane::ctl {

/// The whole terminal, as long as it lives; then the terminal is as before. One at a time.
class Screen {
 public:
  /// Throws std::runtime_error if standard input or output is no terminal.
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  struct Size {
    std::size_t columns, rows;
    bool operator==(const Size&) const = default;
  };
  [[nodiscard]] static Size CurrentSize();
  /// At most as many lines as there are rows, none wider than the screen; they may hold colours.
  static void Show(const std::vector<std::string>& lines);
  /// Whether somebody has pressed q, or a signal has asked the program to end.
  [[nodiscard]] static bool IsEndWanted();
  [[nodiscard]] static bool IsTerminal();

 private:
  termios m_before{};
};

}  // namespace norvane::ctl
