#pragma once

#include <string>
#include <string_view>

namespace norvane::settings {

/// How a fetched page is judged: an option of `optFlag` and its parameter. As text it is the option's prefix,
/// then at once the parameter: "SIZE:1204".
struct SuccessFlag {
  static constexpr int None = -1, BySize = 0, ByString = 1, BySummation = 2;
  int option = None;
  std::string parameter;

  friend bool operator==(const SuccessFlag&, const SuccessFlag&) = default;
};

/// The attribute's text. It always has a prefix: without an option that of BySummation.
[[nodiscard]] std::string FormatSuccessFlag(const SuccessFlag& flag);

/// Takes the prefix in any letter case. No option and no parameter for a text without a known prefix.
[[nodiscard]] SuccessFlag ParseSuccessFlag(std::string_view text);

}  // namespace norvane::settings
