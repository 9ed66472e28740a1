#include "engine/model/OutageRules.h"

#include <algorithm>

#include "engine/model/NumberAttribute.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {
constexpr NumberRule FailTimesRule{keys::FailTimes, 0, 1e9};
constexpr NumberRule MaxFailTimesRule{keys::MaxFailTimes, 0, 1e9};
}  // namespace

OutageRules OutageRules::Of(const Attributes& attributes, std::string& remark) {
  OutageRules rules;
  rules.maxFailTimes = ReadNumber(MaxFailTimesRule, attributes, remark);
  rules.failTimes = std::max(1.0, ReadNumber(FailTimesRule, attributes, remark));
  rules.hasCommand = !attributes.Get(keys::Command).empty();
  rules.hasNotification = !attributes.Get(keys::NotifyMode).empty();
  return rules;
}

}  // namespace norvane::engine
