#include "engine/CheckTimes.h"

#include "platform/Number.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {
struct Rule {
  std::string_view key;
  double least, most;  // seconds
  double standard;
  bool zeroIsStandard;
};
constexpr Rule IntervalRule{keys::Interval, 0.5, 31 * 86400.0, 60, false};
constexpr Rule TimeoutRule{keys::Timeout, 0.1, 3600, 30, true};

std::chrono::milliseconds Read(const Rule& rule, const Attributes& attributes, std::string& remark) {
  const std::string& text = attributes.Get(rule.key);
  const auto number = platform::ParseNumber(text);
  double seconds = rule.standard;
  if (number && *number >= rule.least && *number <= rule.most) {
    seconds = *number;
  } else if (!(rule.zeroIsStandard && number && *number == 0)) {
    if (!remark.empty()) remark += "; ";
    remark += std::string(rule.key) + " is \"" + text.substr(0, 40) + "\", " +
              platform::FormatNumber(rule.standard) + " is used instead";
  }
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}
}  // namespace

CheckTimes CheckTimes::Of(const Attributes& attributes) {
  CheckTimes times{};
  times.interval = Read(IntervalRule, attributes, times.remark);
  times.timeout = Read(TimeoutRule, attributes, times.remark);
  return times;
}

}  // namespace norvane::engine
