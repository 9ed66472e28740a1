#pragma once

#include <string>
#include <string_view>

#include "engine/model/Attributes.h"

namespace norvane::engine {

/// How an attribute that holds a number is read.
struct NumberRule {
  std::string_view key;
  double least, most;  ///< the nearer one acts for a number beyond them
  /// A 0 that is too little stands for the default, and makes no remark.
  bool zeroIsDefault = false;
};

/// The number that acts: the default of a new monitor for what is no number, below 0, or 0 where that is too
/// little. If the attribute has another, that is appended to `remark`.
[[nodiscard]] double ReadNumber(const NumberRule& rule, const Attributes& attributes, std::string& remark);

/// Puts "; " between two remarks that are not empty.
void AppendRemark(std::string& remarks, std::string_view remark);

}  // namespace norvane::engine
