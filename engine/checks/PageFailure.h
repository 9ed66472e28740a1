#pragma once

#include <string>
#include <string_view>

#include "engine/web/Page.h"
#include "platform/LegacyCharset.h"

namespace norvane::engine {

// By the success flag of a web monitor (formats/SuccessFlag.h) a page has this size, counted in the legacy
// character set, or holds this string, or its bytes add up to this number, modulo 2^32. Without a parameter
// any page that came at all is good.

/// Whether `flag` looks into the page at all.
[[nodiscard]] bool JudgesContent(std::string_view flag);

/// Why the page is not what `flag` asks for; empty if it is.
[[nodiscard]] std::string PageFailure(std::string_view flag, const Page& page,
                                      const platform::LegacyCharset& charset);

}  // namespace norvane::engine
