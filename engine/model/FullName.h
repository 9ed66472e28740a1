#pragma once

#include <string_view>

/// The full name of a monitor, "TYPE Of NAME".
namespace norvane::engine {

[[nodiscard]] std::string_view TypeNameOf(std::string_view fullName);

/// Throws EngineError (Invalid) for what is no full name, whatever the type.
void RequireFullName(std::string_view name);

/// Throws EngineError (Invalid) unless `text` is UTF-8; `what` says what it is.
void RequireText(std::string_view text, std::string_view what);

/// Throws the error of a name that cannot be a monitor's.
[[noreturn]] void RefuseName(std::string_view name, std::string_view why);

}  // namespace norvane::engine
