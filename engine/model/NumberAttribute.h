#pragma once

#include <string>
#include <string_view>

#include "engine/model/Attributes.h"

namespace norvane::engine {

/// How an attribute that holds a number is read.
struct NumberRule {
  std::string_view key;
  double least, most;  ///< to which the number is clamped
  /// A 0 below `least` means the default, without a remark.
  bool zeroIsDefault = false;
};

/// The attribute's number, clamped; the default of a new monitor if it is negative, not a number, or a 0
/// below `least`. A remark is appended if the result is not the attribute's number.
[[nodiscard]] double ReadNumber(const NumberRule& rule, const Attributes& attributes, std::string& remark);

/// Puts "; " between two remarks that are not empty.
void AppendRemark(std::string& remarks, std::string_view remark);

}  // namespace norvane::engine
