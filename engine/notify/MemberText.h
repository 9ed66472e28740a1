#pragma once

#include <string>
#include <string_view>

#include "engine/net/Reason.h"
#include "platform/JsonText.h"

namespace norvane::engine {

/// A value of a JSON object that goes out: bounded, and with what is invisible masked.
[[nodiscard]] inline std::string MemberText(std::string_view text) {
  constexpr std::size_t MaxSize = 4096;
  return platform::JsonText(PlainText(text, MaxSize));
}

}  // namespace norvane::engine
