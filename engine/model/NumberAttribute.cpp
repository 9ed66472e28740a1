#include "engine/model/NumberAttribute.h"

#include "formats/Number.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace ce = console::engine;

double ReadNumber(const ce::NumberRule& rule, const Attributes& attributes, std::string& remark) {
  const std::string& text = attributes.Get(rule.key);
  const auto number = formats::ParseNumber(text);
  const double acting =
      formats::ActingNumber(text, rule.least, rule.most, formats::Val(ce::NewMonitorValue(rule.key)));
  if (acting != number && !(rule.zeroIsDefault && number == 0.0)) {
    AppendRemark(remark, std::string(rule.key)
                             .append(" is \"")
                             .append(platform::WholeCharacters(text, 40))
                             .append("\", using ")
                             .append(formats::FormatNumber(acting))
                             .append(" instead"));
  }
  return acting;
}

void AppendRemark(std::string& remarks, std::string_view remark) {
  if (!remarks.empty() && !remark.empty()) remarks += "; ";
  remarks += remark;
}

}  // namespace norvane::engine
