#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "console/engine/MonitorKeys.h"

/// What a monitor may be called and have, for programs by which people type it. The engine stores any key
/// and value; what it would ignore, or replace by another value, is a mistake here. Each function gives what
/// is wrong, with the nearest right one where there is one, or nothing.
namespace norvane::text {

/// The types of monitor that this version checks.
inline constexpr std::array<std::string_view, 3> MonitorTypes = {
    console::engine::TypeWeb, console::engine::TypePop3, console::engine::TypeSmtp};

/// Of a full name, "TYPE Of NAME"; `types` are those of the engine, if one was asked.
[[nodiscard]] std::optional<std::string> NameMistake(std::string_view fullName,
                                                     std::span<const std::string_view> types = MonitorTypes);

/// Of a key for monitors of this type; any known key suits a type that is not one of `MonitorTypes`.
[[nodiscard]] std::optional<std::string> KeyMistake(std::string_view typeName, std::string_view key);

/// Of a value for a key that is none itself.
[[nodiscard]] std::optional<std::string> ValueMistake(std::string_view typeName, std::string_view key,
                                                      std::string_view value);

/// Of either.
[[nodiscard]] std::optional<std::string> AttributeMistake(std::string_view typeName, std::string_view key,
                                                          std::string_view value);

using console::engine::IsSecret;

/// The one type that uses the key; empty: all do.
[[nodiscard]] std::string_view TypeOfKey(std::string_view key);

/// "WebMonitor" of "WebMonitor Of shop".
[[nodiscard]] std::string_view TypeNameOf(std::string_view fullName);

}  // namespace norvane::text
