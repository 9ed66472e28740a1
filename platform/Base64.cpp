#include "platform/Base64.h"

#include <openssl/evp.h>

#include <algorithm>

#include "platform/Ascii.h"

namespace norvane::platform {

std::string EncodeBase64(std::string_view bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');  // OpenSSL adds a zero
  const auto size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  const auto padding = text.ends_with("==") ? 2u : text.ends_with("=") ? 1u : 0u;
  const auto digits = text.substr(0, text.size() - padding);
  const bool isBase64 = text.size() % 4 == 0 && std::ranges::all_of(digits, [](char c) {
                          return IsAsciiAlnum(c) || c == '+' || c == '/';
                        });
  if (!isBase64) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  if (EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())) < 0)
    return std::nullopt;
  bytes.resize(bytes.size() - padding);
  return bytes;
}

}  // namespace norvane::platform
