#include "engine/model/NumberAttribute.h"

#include <algorithm>
#include <cassert>

#include "formats/Number.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace {
double DefaultOf(std::string_view key) {
  const auto& values = console::engine::NewMonitorValues;
  const auto* value = std::ranges::find(values, key, [](const auto& row) { return row.first; });
  assert(value != values.end());
  return formats::Val(value->second);
}
}  // namespace

double ReadNumber(const NumberRule& rule, const Attributes& attributes, std::string& remark) {
  const std::string& text = attributes.Get(rule.key);
  const auto number = formats::ParseNumber(text);
  const bool counts = number && (*number > 0 || *number == rule.least);
  const double acting = counts ? std::clamp(*number, rule.least, rule.most) : DefaultOf(rule.key);
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
