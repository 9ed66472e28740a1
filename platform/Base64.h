#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace norvane::platform {

/// In one line.
[[nodiscard]] std::string EncodeBase64(std::string_view bytes);

/// None if `text` is anything but base64 with its padding.
[[nodiscard]] std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace norvane::platform
