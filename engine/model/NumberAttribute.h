#pragma once

#include <string>
#include <string_view>

#include "engine/model/Attributes.h"

namespace norvane::engine {

/// How an attribute that holds a number is read.
struct NumberRule {
  std::string_view key;
  double least, most;  ///< the nearer one acts for a number beyond them
  double standard;     ///< stands in for what is no number, below 0, or 0 where that is too little
  /// Such a 0 is meant so, and no remark.
  bool zeroIsStandard = false;
};

/// The number that acts. If the attribute has another, `remark` is told so, behind what it holds already.
[[nodiscard]] double ReadNumber(const NumberRule& rule, const Attributes& attributes, std::string& remark);

/// Puts "; " between two remarks that are not empty.
void AppendRemark(std::string& remarks, std::string_view remark);

}  // namespace norvane::engine
