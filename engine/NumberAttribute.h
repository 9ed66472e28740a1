#pragma once

#include <string>
#include <string_view>

#include "engine/Attributes.h"

namespace norvane::engine {

/// How an attribute that holds a number is read.
struct NumberRule {
  std::string_view key;
  double least, most;
  double standard;  ///< stands in for what is no number or out of range
  /// 0 stands for the standard too, without a remark.
  bool zeroIsStandard = false;
};

/// The number that acts. Where the standard stands in, `remark` is told so, behind what it holds already.
[[nodiscard]] double ReadNumber(const NumberRule& rule, const Attributes& attributes, std::string& remark);

/// Puts "; " between two remarks that are not empty.
void AppendRemark(std::string& remarks, std::string_view remark);

}  // namespace norvane::engine
