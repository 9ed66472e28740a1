#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace norvane::platform {

/// A value as it is stored: text with or without a NUL at its end, or a number's bytes, the lowest first.
struct RegistryValue {
  static constexpr std::uint32_t Text = 1;
  static constexpr std::uint32_t Number = 4;

  std::uint32_t type;
  std::string bytes;
};

/// An open key; it closes with its end.
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;
  /// Nothing if there is no such value, or if it has more than `maxBytes`.
  [[nodiscard]] virtual std::optional<RegistryValue> Read(const std::string& name, std::size_t maxBytes) = 0;
};

/// The settings store that some systems have.
class Registry {
 public:
  static constexpr std::uint32_t LocalMachine = 0x80000002;
  static constexpr std::uint32_t AllAccess = 0x2003F;

  virtual ~Registry() = default;
  /// Null if the key can't be opened with these rights.
  [[nodiscard]] virtual std::unique_ptr<RegistryKey> Open(std::uint32_t root, const std::string& key,
                                                          std::uint32_t access) const = 0;
};

/// The registry of this system, which has none: no key can be opened.
[[nodiscard]] const Registry& SystemRegistry();

}  // namespace norvane::platform
