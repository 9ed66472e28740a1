#pragma once

#include <string>
#include <string_view>

namespace norvane::platform {

/// `text` as a string of JSON (RFC 8259), with its quotes; bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string JsonText(std::string_view text);

}  // namespace norvane::platform
