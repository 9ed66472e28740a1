#pragma once

#include <string>
#include <string_view>

namespace norvane::formats {

/// How a fetched page is judged. As text: the prefix of a kind, in any letter case, and at once the
/// parameter, "SIZE:1204". Any other text is no flag. Forms show a flag with an empty parameter too, to the
/// engine it is none.
struct SuccessFlag {
  /// Counted as the options `optFlag` of the forms.
  enum class Kind {
    None = -1,
    Size,    ///< "SIZE:", the size of the page
    String,  ///< "STR:", a string that the page holds, capitals as they are
    Sum,     ///< "SUM:", the sum of its bytes
  };
  Kind kind = Kind::None;
  std::string_view parameter;

  friend bool operator==(const SuccessFlag&, const SuccessFlag&) = default;
};

/// Accepts any text; the parameter is a part of it.
[[nodiscard]] SuccessFlag ParseSuccessFlag(std::string_view text);

/// The text always has a prefix: that of Sum for None.
[[nodiscard]] std::string FormatSuccessFlag(const SuccessFlag& flag);

}  // namespace norvane::formats
