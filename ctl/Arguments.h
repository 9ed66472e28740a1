#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace norvane::ctl {

/// What the terminal said. `words` are the command and its operands.
struct Arguments {
  std::string folder;
  bool json = false;
  bool help = false;
  std::vector<std::string> words;
};

/// The program was called in a way that it does not understand; the text says what is wrong.
class WrongUse : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws WrongUse.
[[nodiscard]] Arguments Parse(int argc, char** argv);

}  // namespace norvane::ctl
