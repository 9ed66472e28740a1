#include "engine/model/OutageRules.h"

#include <algorithm>

#include "engine/model/NumberAttribute.h"

namespace norvane::engine {

namespace ce = console::engine;
namespace keys = ce::keys;

OutageRules OutageRules::Of(const Attributes& attributes, std::string& remark) {
  OutageRules rules;
  rules.maxFailTimes = ReadNumber(ce::MaxFailTimesRule, attributes, remark);
  rules.failTimes = std::max(1.0, ReadNumber(ce::FailTimesRule, attributes, remark));
  rules.hasCommand = !attributes.Get(keys::Command).empty();
  rules.hasNotification = !attributes.Get(keys::NotifyMode).empty();
  return rules;
}

}  // namespace norvane::engine
