#include "engine/NumberAttribute.h"

#include "platform/Number.h"

namespace norvane::engine {

double ReadNumber(const NumberRule& rule, const Attributes& attributes, std::string& remark) {
  const std::string& text = attributes.Get(rule.key);
  const auto number = platform::ParseNumber(text);
  if (number && *number >= rule.least && *number <= rule.most) return *number;
  if (!(rule.zeroIsStandard && number && *number == 0)) {
    AppendRemark(remark, std::string(rule.key) + " is \"" + text.substr(0, 40) + "\", " +
                             platform::FormatNumber(rule.standard) + " is used instead");
  }
  return rule.standard;
}

void AppendRemark(std::string& remarks, std::string_view remark) {
  if (!remarks.empty() && !remark.empty()) remarks += "; ";
  remarks += remark;
}

}  // namespace norvane::engine
