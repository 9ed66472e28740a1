#pragma once

#include <curl/curl.h>

#include <string>

namespace norvane::engine {

/// Why a transfer that ended with `code` failed, for the user. `message` is libcurl's own; `host` is that of
/// the URL.
[[nodiscard]] std::string TransferFailure(CURL* curl, CURLcode code, const char* message,
                                          const std::string& host);

}  // namespace norvane::engine
