// Fills in what users read of norvanectl, for the build: a manual page or a completion script with
// placeholders goes in, the finished one comes out.

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>

#include "console/engine/MonitorKeys.h"
#include "ctl/Help.h"

namespace {

using namespace norvane::ctl;

// man(7)

bool IsOperand(std::string_view word) {
  static constexpr std::array<std::string_view, 7> Operands = {"NAME", "KEY",  "VALUE", "FILE",
                                                               "TIME", "TEXT", "TYPE"};
  return word == "DIR" || std::ranges::find(Operands, word) != Operands.end();
}

std::string Roff(std::string_view text) {
  std::string roff;
  for (const char each : text) {
    if (each == '-') roff += '\\';
    roff += each == '\\' ? std::string("\\e") : std::string(1, each);
  }
  return roff.starts_with('.') || roff.starts_with('\'') ? "\\&" + roff : roff;
}

bool IsPartOfWord(char each) {
  return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') || each == '-';
}

/// Operands slanted and options bold, other words as `plain` says.
std::string Marked(std::string_view text, const char* plain) {
  std::string marked;
  while (!text.empty()) {
    const auto size = static_cast<std::size_t>(std::ranges::find_if_not(text, &IsPartOfWord) - text.begin());
    const auto word = text.substr(0, std::max<std::size_t>(size, 1));
    text.remove_prefix(word.size());
    const auto* font = size == 0 ? "" : IsOperand(word) ? "\\fI" : word.starts_with("--") ? "\\fB" : plain;
    marked += font + Roff(word) + (*font == '\0' ? "" : "\\fR");
  }
  return marked;
}

std::string ManualEntry(const std::string& what, std::string_view text) {
  return ".TP\n" + Marked(what, "\\fB") + "\n" + Marked(text, "") + "\n";
}

std::string ManualOf(std::span<const Option> options) {
  std::string text;
  for (const auto& option : options)
    text += ManualEntry(Synopsis(option), Sentence(option.help));
  return text;
}

std::string ManualOfCommands() {
  auto text = Marked(AboutNames, "") + "\n";
  for (const auto& command : AllCommands()) {
    text += ManualEntry(Synopsis(command), Sentence(command.summary));
    if (!command.more.empty()) text += Marked(command.more, "") + "\n";
    if (!command.options.empty()) text += ".RS\n" + ManualOf(command.options) + ".RE\n";
  }
  return text;
}

// Shells

std::string Quoted(std::string_view text) {
  std::string quoted = "'";
  for (const char each : text)
    quoted += each == '\'' ? std::string("'\\''") : std::string(1, each);
  return quoted + "'";
}

/// Each with a blank before it.
template <class Range, class Function>
std::string Joined(const Range& range, Function text) {
  std::string joined;
  for (const auto& each : range)
    joined.append(" ").append(text(each));
  return joined;
}

std::string Names(std::span<const Option> options) {
  return Joined(options, [](const Option& option) { return option.name; });
}

/// What can be completed of a command's operands.
std::string_view KindOf(const Command& command) {
  const auto has = [&](std::string_view operand) {
    return command.operands.find(operand) != std::string_view::npos;
  };
  if (command.name == "add") return "types";
  return has("KEY") ? "monitors keys" : has("NAME") ? "monitors" : has("FILE") ? "files" : "";
}

std::string Cases() {
  std::string cases;
  for (const auto& command : AllCommands())
    cases.append("    ")
        .append(command.name)
        .append(") options=(")
        .append(Names(command.options))
        .append(" ) kind='")
        .append(KindOf(command))
        .append("' ;;\n");
  return cases;
}

std::string Summaries() {
  return Joined(AllCommands(), [](const Command& command) {
    return Quoted(std::string(command.name) + ":" + std::string(command.summary)) + "\n";
  });
}

struct Placeholder {
  std::string_view name;
  std::string (*text)();
};
constexpr std::array Placeholders = {
    Placeholder{"%MANUAL OPTIONS%\n", [] { return ManualOf(ProgramOptions()); }},
    Placeholder{"%MANUAL COMMANDS%\n", &ManualOfCommands},
    Placeholder{"%CASES%\n", &Cases},
    Placeholder{"%SUMMARIES%\n", &Summaries},
    Placeholder{"%COMMANDS%",
                [] { return Joined(AllCommands(), [](const Command& each) { return each.name; }); }},
    Placeholder{"%OPTIONS%", [] { return Names(ProgramOptions()); }},
    Placeholder{"%KEYS%", [] { return Joined(norvane::console::engine::KnownKeys, &Quoted); }},
};

}  // namespace

int main() {
  std::string text(std::istreambuf_iterator<char>(std::cin), {});
  for (const auto& placeholder : Placeholders) {
    const auto at = text.find(placeholder.name);
    if (at != std::string::npos) text.replace(at, placeholder.name.size(), placeholder.text());
  }
  return std::cout << text << std::flush ? 0 : 1;
}
