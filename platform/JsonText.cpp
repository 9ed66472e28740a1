#include "platform/JsonText.h"

#include "platform/Utf8.h"

namespace norvane::platform {

std::string JsonText(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string json = "\"";
  for (const char c : ValidUtf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20) {
      json += "\\u00";
      json += digits[byte >> 4];
      json += digits[byte & 15];
      continue;
    }
    if (c == '"' || c == '\\') json += '\\';
    json += c;
  }
  return json + "\"";
}

}  // namespace norvane::platform
