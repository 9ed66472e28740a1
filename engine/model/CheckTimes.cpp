#include "engine/model/CheckTimes.h"

#include "engine/model/NumberAttribute.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {
// In seconds.
constexpr NumberRule IntervalRule{keys::Interval, 0.5, 31 * 86400.0};
constexpr NumberRule TimeoutRule{keys::Timeout, 0.1, 3600, true};

std::chrono::milliseconds Read(const NumberRule& rule, const Attributes& attributes, std::string& remark) {
  const double seconds = ReadNumber(rule, attributes, remark);
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
