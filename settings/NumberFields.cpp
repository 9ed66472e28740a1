#include "settings/NumberFields.h"

#include "formats/Number.h"

namespace norvane::settings {

using formats::FormatNumber;
using formats::Val;

void ClampTimes(Fields& form) {
  using enum TextField;
  if (Val(form.Text(txtInterval)) < 2) form.SetText(txtInterval, "2");
  const double interval = Val(form.Text(txtInterval));
  if (Val(form.Text(txtWaitTime)) > interval) form.SetText(txtWaitTime, FormatNumber(interval - 1));
}

std::string StepUp(std::string_view text) {
  return FormatNumber(Val(text) + 1);
}

std::string StepDown(std::string_view text) {
  const double value = Val(text);
  return value > 0 ? FormatNumber(value - 1) : "0";
}

}  // namespace norvane::settings
