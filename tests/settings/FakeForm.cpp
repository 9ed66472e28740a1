#include "tests/settings/FakeForm.h"

namespace norvane::tests {
namespace {

using namespace settings;

// In the order of the enumerators.
constexpr const char* TextNames[] = {
    "txtMonitorName", "txtMonitorPoint", "txtBySize",      "txtPop3Account", "txtPop3Password",
    "txtSmtpFrom",    "txtSmtpTo",       "txtInterval",    "txtWaitTime",    "txtRetryTimes",
    "txtRetrytime",   "txtEmailAddr",    "txtSubject",     "txtSmtpServer",  "txtPagerNumber",
    "txtPagerMsg",    "txtLaunchCmd",    "txtLaunchUpCmd", "txtLogFile",
};
constexpr const char* CheckNames[] = {"chkByEmail", "chkByPager", "chkInetCall", "chkDefaultCmd"};
constexpr const char* ChoiceNames[] = {"optFlag", "cmbPagerType"};

template <class Names, class Field>
std::string NameIn(const Names& names, Field field) {
  return names[static_cast<std::size_t>(field)];
}

template <class Values, class Field>
auto ValueIn(const Values& values, Field field) {
  const auto found = values.find(field);
  return found == values.end() ? typename Values::mapped_type() : found->second;
}

}  // namespace

std::string FakeForm::Text(TextField field) const {
  return ValueIn(text, field);
}

void FakeForm::SetText(TextField field, std::string_view value) {
  text[field] = value;
  record.push_back(NameIn(TextNames, field) + " = \"" + std::string(value) + '"');
}

bool FakeForm::Checked(CheckField field) const {
  return ValueIn(checked, field);
}

void FakeForm::SetChecked(CheckField field, bool value) {
  checked[field] = value;
  record.push_back(NameIn(CheckNames, field) + " = " + std::to_string(value));
}

int FakeForm::Selected(ChoiceField field) const {
  return ValueIn(selected, field);
}

void FakeForm::Select(ChoiceField field, int entry) {
  selected[field] = entry;
  record.push_back(NameIn(ChoiceNames, field) + " = " + std::to_string(entry));
}

int FakeForm::EntryCount(ChoiceField field) const {
  return field == ChoiceField::cmbPagerType ? pagerTypes : 3;
}

}  // namespace norvane::tests
