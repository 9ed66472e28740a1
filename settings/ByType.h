#pragma once

#include <string>
#include <string_view>

#include "console/engine/MonitorKeys.h"

namespace norvane::settings {

/// The types of monitor that have a page and a wizard.
enum class Type { Web, Pop3, Smtp };

/// One row of a table that has a column for each type.
template <class T>
struct ByType {
  T web, pop3, smtp;

  [[nodiscard]] constexpr const T& For(Type type) const {
    return type == Type::Web ? web : type == Type::Pop3 ? pop3 : smtp;
  }
};

/// A row that is the same for all types.
template <class T>
[[nodiscard]] constexpr ByType<T> All(T same) {
  return {same, same, same};
}

/// The type's name as the engine knows it.
[[nodiscard]] constexpr std::string_view TypeName(Type type) {
  namespace engine = console::engine;
  return ByType<std::string_view>{engine::TypeWeb, engine::TypePop3, engine::TypeSmtp}.For(type);
}

/// The name of a monitor in engine and tree, from the name that the user gave: "WebMonitor Of shop".
[[nodiscard]] inline std::string FullName(std::string_view typeName, std::string_view name) {
  return std::string(typeName).append(console::engine::NameSeparator).append(name);
}

}  // namespace norvane::settings
