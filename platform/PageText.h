#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace norvane::platform {

/// The text of a fetched page as valid UTF-8: `body` decoded by the charset parameter of the Content-Type, by
/// UTF-8 where there is none or one that iconv does not know. Each byte that cannot be decoded becomes
/// U+FFFD. `receive` gets it in pieces of whole characters, since the text may be three times as long as the
/// page.
void DecodePage(std::string_view body, std::string_view contentType,
                const std::function<void(std::string_view)>& receive);
/// All of it.
[[nodiscard]] std::string DecodePage(std::string_view body, std::string_view contentType);

/// The sum of the bytes modulo 2^32.
[[nodiscard]] std::uint32_t ByteSum(std::string_view bytes);

}  // namespace norvane::platform
