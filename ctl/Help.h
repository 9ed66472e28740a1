#pragma once

#include <string>
#include <string_view>

#include "ctl/Commands.h"

/// What users read of the commands and their options, all from `AllCommands`.
namespace norvane::ctl {

/// Of the program, and of one command.
[[nodiscard]] std::string HelpText();
[[nodiscard]] std::string HelpText(const Command& command);

/// What a NAME is.
inline constexpr std::string_view AboutNames =
    "A NAME is the full name of a monitor, such as 'WebMonitor Of shop', its last part alone (shop) if no "
    "monitor of "
    "another type has it too, or a pattern of either, in which * stands for any characters and ? for one.";
/// A summary as a sentence.
[[nodiscard]] std::string Sentence(std::string_view summary);
/// The command with its operands, the option with its own.
[[nodiscard]] std::string Synopsis(const Option& option);
[[nodiscard]] std::string Synopsis(const Command& command);

}  // namespace norvane::ctl
