#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace norvane::engine {

/// Bytes of a reason at most.
inline constexpr std::size_t MaxReasonSize = 300;

/// `text` fit for a log line and a window: control characters and bytes that are no UTF-8 become "?", and
/// what is longer than `maxSize` bytes is cut at a character and ends in "...".
[[nodiscard]] std::string PlainText(std::string_view text, std::size_t maxSize = MaxReasonSize);

}  // namespace norvane::engine
