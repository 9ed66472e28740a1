#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>

#include "console/engine/MonitorKeys.h"

namespace norvane::engine {

/// The attributes of one monitor: the known keys by position, any other by name. Values are UTF-8 text, but
/// for names of files and what older versions stored; byte for byte as they were set. Shared between threads
/// as `std::shared_ptr<const Attributes>`; a change makes a new one.
class Attributes {
 public:
  using Others = std::map<std::string, std::string, std::less<>>;

  /// Keys that are not known. Setting throws EngineError (Invalid) beyond this and the limits in Limits.h.
  static constexpr std::size_t MaxOthers = 64;

  /// Empty text for a key that was never set.
  [[nodiscard]] const std::string& Get(std::string_view key) const;
  void Set(std::string_view key, std::string value);
  /// By position in `KnownKeys`.
  void SetAt(std::size_t index, std::string value);

  /// By position in `KnownKeys`.
  [[nodiscard]] const std::string& At(std::size_t index) const { return m_known[index]; }
  /// Keys unknown to this version, kept for the one that knows them.
  [[nodiscard]] const Others& Unknown() const { return m_others; }

 private:
  std::array<std::string, console::engine::KnownKeys.size()> m_known;
  Others m_others;
};

/// Throws EngineError (Invalid) for what is no text in UTF-8: a console that shows it would store something
/// else. Names of files may have any bytes.
void RequireAttribute(std::string_view key, std::string_view value);

/// `NewMonitorValues`.
[[nodiscard]] Attributes NewMonitorAttributes();

}  // namespace norvane::engine
