#include "engine/model/OutageRules.h"

#include <algorithm>

#include "engine/model/NumberAttribute.h"
#include "platform/Blanks.h"

namespace norvane::engine {

namespace ce = console::engine;
namespace keys = ce::keys;

bool OutageRules::NamesCommand(const Attributes& attributes, std::string_view key) {
  return !platform::Trimmed(attributes.Get(key)).empty();
}

OutageRules OutageRules::Of(const Attributes& attributes, std::string& remark) {
  OutageRules rules;
  rules.maxFailTimes = ReadNumber(ce::MaxFailTimesRule, attributes, remark);
  rules.failTimes = std::max(1.0, ReadNumber(ce::FailTimesRule, attributes, remark));
  rules.hasCommand = NamesCommand(attributes, keys::Command);
  rules.hasNotification = !attributes.Get(keys::NotifyMode).empty();
  return rules;
}

}  // namespace norvane::engine
