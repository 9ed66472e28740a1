#pragma once

#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace norvane::ctl {

struct Command;

/// An option of the program, or of one command.
struct Option {
  std::string_view name;     ///< "--for"
  std::string_view operand;  ///< "TIME"; empty if it has none
  std::string_view help;
};

/// The command line. Options may stand anywhere; "--" ends them. An argument that begins with one dash only
/// is none (but -h), so that a value may be a negative number.
struct Arguments {
  std::string folder;                ///< absolute, but with --host, where it may be empty
  const Command* command = nullptr;  ///< null if none is named
  std::vector<std::string> operands;
  /// By name, with their operands.
  std::map<std::string, std::string, std::less<>> options;

  [[nodiscard]] bool Has(std::string_view option) const { return options.contains(option); }
  /// Empty if the option is not there.
  [[nodiscard]] std::string ValueOf(std::string_view option) const;
};

/// Invalid command line; the text says what is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `words` are what follows the program's name. Throws UsageError; then `command` is known to nobody, so
/// `named` gets it as soon as it is parsed, for a hint where help is.
[[nodiscard]] Arguments Parse(std::span<char*> words, const Command*& named);

/// Those of the program, which every command has.
[[nodiscard]] std::span<const Option> ProgramOptions();

}  // namespace norvane::ctl
