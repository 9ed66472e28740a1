#pragma once

#include <curl/curl.h>

#include <string>

namespace norvane::engine {

/// Bytes of a page at most.
inline constexpr std::size_t MaxPageSize = std::size_t{16} << 20;

/// Why a transfer that ended with `code` failed, for the user. `message` is libcurl's own; `host` is that of
/// the URL.
[[nodiscard]] std::string TransferFailure(CURL* curl, CURLcode code, const char* message,
                                          const std::string& host);

[[nodiscard]] std::string PageTooLarge();

}  // namespace norvane::engine
