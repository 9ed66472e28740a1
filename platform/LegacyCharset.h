#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace norvane::platform {

/// The character set in which the size of a page is counted. Any thread.
class LegacyCharset {
 public:
  static constexpr std::string_view DefaultName = "windows-1252";

  /// `name` as iconv knows it. Throws std::invalid_argument, whose text is for the user, if it knows none.
  explicit LegacyCharset(const std::string& name = std::string(DefaultName));
  /// The one that the entry "charset" in section "text" of `configFile` names, else the default.
  [[nodiscard]] static LegacyCharset FromConfig(const std::string& configFile);

  /// The size of the valid UTF-8 `text`, modulo 2^32: 2 for each character that this set stores in two bytes,
  /// 1 for each other, also for one that it cannot hold.
  [[nodiscard]] std::uint32_t SizeOf(std::string_view text) const;
  /// Whether all sizes are the same.
  bool operator==(const LegacyCharset&) const = default;

 private:
  std::vector<bool> m_twoBytes;  // by code; empty if no character has two bytes
};

}  // namespace norvane::platform
