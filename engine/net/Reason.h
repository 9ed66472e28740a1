#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/UrlText.h"

namespace norvane::engine {

/// Bytes of a reason at most.
inline constexpr std::size_t MaxReasonSize = 300;

/// `text` fit for a log line and a window: invisible characters and bytes that are not UTF-8 become "?", and
/// what is longer than `maxSize` bytes is cut at a character and ends in "...".
[[nodiscard]] std::string PlainText(std::string_view text, std::size_t maxSize = MaxReasonSize);

using platform::WithoutPassword;

/// "12.3 s"
[[nodiscard]] std::string SecondsText(std::chrono::milliseconds time);

/// The reason of what ran out of time; `step` is what it was waiting for ("connecting").
[[nodiscard]] std::string NoAnswerWithin(std::chrono::milliseconds timeout, std::string_view step);

}  // namespace norvane::engine
