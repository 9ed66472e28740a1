#pragma once

#include <span>
#include <string>
#include <string_view>

#include "console/engine/MonitorKeys.h"
#include "settings/Fields.h"

namespace norvane::settings {

struct Rule;

/// An attribute that a text box of the forms holds as it is: the text as typed, numbers too.
struct TextAttribute {
  std::string_view key;
  TextField field;
};

/// A type of monitor as its page and its wizard need it: its rules, and what it has besides the settings of
/// all types.
struct Type {
  static const Type Web, Pop3, Smtp;

  std::string_view name;                          ///< as the engine knows it
  bool successFlag = false;                       ///< has one, in `optFlag` and `txtBySize`
  bool defaultCommand = false;                    ///< has `chkDefaultCmd`
  std::span<const TextAttribute> own = {};        ///< that no other type has, in the order of the transfer
  std::span<const Rule* const> pageRules = {};    ///< in the order in which they are checked
  std::span<const Rule* const> wizardRules = {};  ///< likewise; the name has been checked before
};

/// The name of a monitor in engine and tree, from the name that the user gave: "WebMonitor Of shop".
[[nodiscard]] inline std::string FullName(std::string_view typeName, std::string_view name) {
  return std::string(typeName).append(console::engine::NameSeparator).append(name);
}

}  // namespace norvane::settings
