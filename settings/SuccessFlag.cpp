#include "settings/SuccessFlag.h"

#include "settings/Text.h"

namespace norvane::settings {
namespace {
constexpr std::string_view Prefixes[] = {"SIZE:", "STR:", "SUM:"};  // by option
}  // namespace

std::string FormatSuccessFlag(const SuccessFlag& flag) {
  const int option = flag.option == SuccessFlag::None ? SuccessFlag::BySummation : flag.option;
  return std::string(Prefixes[option]).append(flag.parameter);
}

SuccessFlag ParseSuccessFlag(std::string_view text) {
  for (const int option : {SuccessFlag::BySize, SuccessFlag::BySummation, SuccessFlag::ByString}) {
    const auto size = Prefixes[option].size();
    if (Upper(text.substr(0, size)) == Prefixes[option]) return {option, std::string(text.substr(size))};
  }
  return {};
}

}  // namespace norvane::settings
