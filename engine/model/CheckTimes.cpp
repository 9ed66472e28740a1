#include "engine/model/CheckTimes.h"

#include "engine/model/NumberAttribute.h"

namespace norvane::engine {

namespace ce = console::engine;

namespace {
std::chrono::milliseconds Read(const ce::NumberRule& rule, const Attributes& attributes,
                               std::string& remark) {
  const double seconds = ReadNumber(rule, attributes, remark);
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}
}  // namespace

CheckTimes CheckTimes::Of(const Attributes& attributes) {
  CheckTimes times{};
  times.interval = Read(ce::IntervalRule, attributes, times.remark);
  times.timeout = Read(ce::TimeoutRule, attributes, times.remark);
  return times;
}

}  // namespace norvane::engine
