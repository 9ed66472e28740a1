#pragma once

#include <memory>
#include <span>
#include <string_view>

namespace norvane::engine {

class ProbeType;
struct ProbeContext;

/// A row of the table of types, which is in `engine/checks/ProbeTable.cpp`.
struct MonitorType {
  std::string_view name;  ///< the head of a monitor's full name
  bool hasPage;           ///< of properties, in the console
  std::unique_ptr<ProbeType> (*makeProbes)(ProbeContext&);
};

/// In the order in which they are listed. The rows live as long as the process.
using MonitorTypes = std::span<const MonitorType>;

/// Null if there is no such type.
[[nodiscard]] constexpr const MonitorType* FindType(MonitorTypes types, std::string_view name) {
  for (const auto& type : types) {
    if (type.name == name) return &type;
  }
  return nullptr;
}

}  // namespace norvane::engine
