#pragma once

#include <string>
#include <string_view>

namespace norvane::platform {

/// `target` as it may be shown: a URL without what stands in front of its host's "@" (RFC 3986, 3.2.1).
[[nodiscard]] std::string WithoutPassword(std::string_view target);

}  // namespace norvane::platform
