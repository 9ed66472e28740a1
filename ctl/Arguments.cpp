#include "ctl/Arguments.h"

#include <algorithm>
#include <array>
#include <optional>

#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "platform/Paths.h"
#include "text/Nearest.h"

namespace norvane::ctl {

namespace {

constexpr std::array Options = {
    Option{"--folder", "DIR",
           "use the engine of the application folder DIR, not that of the program's own folder"},
    Option{"--host", "HOST",
           "use the engine on HOST, by ssh: user@server, or a name of ssh's configuration; DIR is there"},
    Option{"--start", "", "start the engine if none answers"},
    Option{"--json", "", "print JSON: one value, or for watch one value per change"},
    Option{"--secrets", "", "show passwords, which are hidden otherwise"},
    Option{"--help", "", "explain the program, or the command that is named; -h is the same"},
    Option{"--version", "", "print the version"},
};

bool IsOption(std::string_view word) {
  return word == "-h" || (word.starts_with("--") && word.size() > 2);
}

const Option* Find(std::span<const Option> options, std::string_view name) {
  const auto found = std::ranges::find(options, name, &Option::name);
  return found == options.end() ? nullptr : &*found;
}

[[noreturn]] void ThrowUnknown(std::string_view name, const Command* command) {
  std::vector<std::string_view> known;
  for (const auto options :
       {ProgramOptions(), command == nullptr ? std::span<const Option>() : command->options})
    for (const auto& option : options)
      known.push_back(option.name);
  throw UsageError("unknown option: " + Escaped(name) + text::DidYouMean(text::Nearest(name, known)));
}

const Command* FindCommand(std::string_view name) {
  const auto commands = AllCommands();
  const auto found = std::ranges::find(commands, name, &Command::name);
  if (found != commands.end()) return &*found;
  std::vector<std::string_view> known;
  for (const auto& command : commands)
    known.push_back(command.name);
  throw UsageError("unknown command: " + Escaped(name) + text::DidYouMean(text::Nearest(name, known)));
}

class Parser {
 public:
  Parser(std::span<char*> words, const Command*& command) : m_words(words), m_command(command) {}

  Arguments Parse() {
    bool optionsEnd = false;
    while (m_next < m_words.size()) {
      const std::string word = m_words[m_next++];
      if (!optionsEnd && word == "--") {
        optionsEnd = true;
      } else if (!optionsEnd && IsOption(word)) {
        AddOption(word);
      } else if (m_command == nullptr) {
        m_command = FindCommand(word);
      } else {
        m_arguments.operands.push_back(word);
      }
    }
    m_arguments.command = m_command;
    return std::move(m_arguments);
  }

 private:
  void AddOption(const std::string& word) {
    const auto equals = word.find('=');
    const auto name = word == "-h" ? "--help" : word.substr(0, equals);
    const auto* option = Find(Options, name);
    if (option == nullptr && m_command != nullptr) option = Find(m_command->options, name);
    if (option == nullptr) ThrowUnknown(name, m_command);
    std::optional<std::string> value;
    if (equals != std::string::npos) value = word.substr(equals + 1);
    if (option->operand.empty() && value) throw UsageError(name + " has no value");
    if (!option->operand.empty() && !value) {
      if (m_next == m_words.size()) throw UsageError(name + " needs a value");
      value = m_words[m_next++];
    }
    m_arguments.options[name] = value.value_or("");
  }

  std::span<char*> m_words;
  const Command*& m_command;
  std::size_t m_next = 0;
  Arguments m_arguments;
};

}  // namespace

std::string Arguments::ValueOf(std::string_view option) const {
  const auto found = options.find(option);
  return found == options.end() ? std::string() : found->second;
}

std::span<const Option> ProgramOptions() {
  return Options;
}

Arguments Parse(std::span<char*> words, const Command*& named) {
  auto arguments = Parser(words, named).Parse();
  const auto folder = arguments.ValueOf("--folder");
  arguments.folder = arguments.Has("--host") ? folder : platform::FolderOrOwn(folder);
  return arguments;
}

}  // namespace norvane::ctl
