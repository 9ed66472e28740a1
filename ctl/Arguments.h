#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace norvane::ctl {

/// The command line. `words` are the command and its operands.
struct Arguments {
  std::string folder;
  bool json = false;
  bool help = false;
  std::vector<std::string> words;
};

/// Invalid command line; the text says what is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws UsageError.
[[nodiscard]] Arguments Parse(int argc, char** argv);

}  // namespace norvane::ctl
