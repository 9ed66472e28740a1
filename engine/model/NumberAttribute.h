#pragma once

#include <string>
#include <string_view>

#include "console/engine/NumberRules.h"
#include "engine/model/Attributes.h"

namespace norvane::engine {

/// The attribute's number, clamped; the default of a new monitor if it is negative, not a number, or a 0
/// below `least`. A remark is appended if the result is not the attribute's number.
[[nodiscard]] double ReadNumber(const console::engine::NumberRule& rule, const Attributes& attributes,
                                std::string& remark);

/// Puts "; " between two remarks that are not empty.
void AppendRemark(std::string& remarks, std::string_view remark);

}  // namespace norvane::engine
