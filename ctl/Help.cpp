#include "ctl/Help.h"

#include <algorithm>

#include "platform/Ascii.h"

namespace norvane::ctl {

namespace {

constexpr std::size_t LineWidth = 79;

/// `text` in lines, each after `indent` blanks.
std::string Wrapped(std::string_view text, std::size_t indent) {
  std::string wrapped, line;
  const auto end = [&] {
    wrapped += std::string(indent, ' ') + line + "\n";
    line.clear();
  };
  while (!text.empty()) {
    const auto word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    if (!line.empty() && indent + line.size() + 1 + word.size() > LineWidth) end();
    line.append(line.empty() ? "" : " ").append(word);
  }
  if (!line.empty()) end();
  return wrapped;
}

/// `what` in a column of its own, `text` beside it.
std::string Entry(const std::string& what, std::string_view text, std::size_t column) {
  auto entry = Wrapped(text, column);
  entry.replace(2, what.size(), what);
  return entry;
}

std::string Entries(std::span<const Option> options) {
  std::string text;
  for (const auto& option : options)
    text += Entry(Synopsis(option), option.help, 18);
  return text;
}

constexpr std::string_view AboutCodes =
    "Exit codes: 0 success (check, notify, status: good), 1 the check or notification failed, or something "
    "is wrong "
    "with the engine, 2 usage error, 3 no engine answers, 4 the engine refused.";

}  // namespace

std::string Synopsis(const Option& option) {
  auto text = std::string(option.name);
  return option.operand.empty() ? text : text.append(" ").append(option.operand);
}

std::string Synopsis(const Command& command) {
  const std::string name(command.name);
  return command.operands.empty() ? name : name + " " + std::string(command.operands);
}

std::string Sentence(std::string_view summary) {
  std::string text(summary);
  text[0] = platform::AsciiUpper(text[0]);
  return text + ".";
}

std::string HelpText() {
  std::string text = "Usage: norvanectl [OPTION...] COMMAND [OPERAND...]\n\n";
  for (const auto& command : AllCommands())
    text += Entry(std::string(command.name), command.summary, 14);
  return text + "\n" + Entries(ProgramOptions()) + "\n" + Wrapped(AboutNames, 0) +
         "norvanectl COMMAND --help says more of a command.\n\n" + Wrapped(AboutCodes, 0);
}

std::string HelpText(const Command& command) {
  auto text = "Usage: norvanectl " + Synopsis(command) + "\n\n" + Wrapped(Sentence(command.summary), 0);
  text += Wrapped(command.more, 0);
  if (!command.options.empty()) text += "\n" + Entries(command.options);
  const bool hasNames = command.operands.find("NAME") != std::string_view::npos && command.name != "add";
  return hasNames ? text + "\n" + Wrapped(AboutNames, 0) : text;
}

}  // namespace norvane::ctl
