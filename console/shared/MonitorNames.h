#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace norvane::console::shared {

/// The full names of all monitors, to look for a free one, ignoring case. The tail of a longer name is not
/// free either.
class MonitorNames {
 public:
  explicit MonitorNames(const std::vector<std::string>& fullNames);

  [[nodiscard]] bool Exists(std::string_view fullName) const;
  /// The lowest number, from 1, with which no name exists that is `head` and the number.
  [[nodiscard]] int LowestFreeNumber(std::string_view head) const;

 private:
  std::string m_joined;  ///< in small letters, with the separator behind each
  std::size_t m_count;
};

}  // namespace norvane::console::shared
