#include "engine/model/FullName.h"

#include <algorithm>

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "console/engine/MonitorKeys.h"
#include "platform/Ascii.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace ce = console::engine;

namespace {
constexpr std::size_t ShownSize = 80;
}

std::string_view TypeNameOf(std::string_view fullName) {
  return fullName.substr(0, fullName.find(ce::NameSeparator));
}

void RequireFullName(std::string_view name) {
  if (name.size() > ce::MaxNameSize) RefuseName(name, "monitor name too long");
  if (std::ranges::any_of(name, &platform::IsAsciiControl))
    RefuseName(name, "control character in the monitor name");
  const auto separator = name.find(ce::NameSeparator);
  if (separator == std::string_view::npos || separator + ce::NameSeparator.size() == name.size())
    RefuseName(name, "monitor name not of the form TYPE Of NAME");
}

void RequireText(std::string_view text, std::string_view what) {
  if (!platform::IsValidUtf8(text))
    throw ce::EngineError(ce::EngineErrorCode::Invalid, std::string(what).append(" not in UTF-8"));
}

void RefuseName(std::string_view name, std::string_view why) {
  throw ce::EngineError(ce::EngineErrorCode::Invalid,
                        std::string(why).append(": ").append(platform::WholeCharacters(name, ShownSize)));
}

}  // namespace norvane::engine
