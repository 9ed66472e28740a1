#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "settings/Fields.h"

namespace norvane::tests {

/// A form without windows. Every write is recorded as code would put it: `txtInterval = "2"`,
/// `chkByPager = 1`, `cmbPagerType = -1`.
class FakeForm : public settings::Fields {
 public:
  std::map<settings::TextField, std::string> text;
  std::map<settings::CheckField, bool> checked;
  std::map<settings::ChoiceField, int> selected = {{settings::ChoiceField::optFlag, -1},
                                                   {settings::ChoiceField::cmbPagerType, -1}};
  int pagerTypes = 0;
  std::vector<std::string> record;

  [[nodiscard]] std::string Text(settings::TextField field) const override;
  void SetText(settings::TextField field, std::string_view value) override;
  [[nodiscard]] bool Checked(settings::CheckField field) const override;
  void SetChecked(settings::CheckField field, bool value) override;
  [[nodiscard]] int Selected(settings::ChoiceField field) const override;
  void Select(settings::ChoiceField field, int entry) override;
  [[nodiscard]] int EntryCount(settings::ChoiceField field) const override;
};

}  // namespace norvane::tests
