#include "formats/SuccessFlag.h"

#include "platform/Ascii.h"

namespace norvane::formats {

using Kind = SuccessFlag::Kind;

namespace {

constexpr std::string_view PrefixOf(Kind kind) {
  return kind == Kind::Size ? "SIZE:" : kind == Kind::String ? "STR:" : "SUM:";
}

}  // namespace

SuccessFlag ParseSuccessFlag(std::string_view text) {
  for (const auto kind : {Kind::Size, Kind::String, Kind::Sum}) {
    const auto prefix = PrefixOf(kind);
    if (platform::StartsWithIgnoringCase(text, prefix)) return {kind, text.substr(prefix.size())};
  }
  return {};
}

std::string FormatSuccessFlag(const SuccessFlag& flag) {
  return std::string(PrefixOf(flag.kind)).append(flag.parameter);
}

}  // namespace norvane::formats
