#pragma once

#include <string>
#include <string_view>

#include "formats/NotifyMode.h"

namespace norvane::engine {

/// The address that an internet call fetches: message and number percent-encoded, byte by byte, but for what
/// RFC 3986 (2.3) calls unreserved.
[[nodiscard]] std::string InternetCallUrl(const formats::NotifyMode& mode, std::string_view message,
                                          std::string_view number);

}  // namespace norvane::engine
