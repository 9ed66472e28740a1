#include "settings/NewMonitor.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/settings/FakeForm.h"
#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using enum ChoiceField;
using enum Icon;

bool OnlyTaken(const std::string& fullName) {
  return fullName.ends_with(" Of taken");
}

tests::FakeForm GoodForm() {
  tests::FakeForm form;
  form.text = {{txtMonitorName, "shop"}, {txtMonitorPoint, "http://"}, {txtBySize, "Including string"},
               {txtPop3Account, "a"},    {txtSmtpFrom, "a@"},          {txtSmtpTo, "a@"},
               {txtPagerNumber, "1"}};
  form.selected[optFlag] = 0;
  return form;
}

/// One change after the other that mends what the row before complained of.
struct Row {
  std::function<void(tests::FakeForm&)> mend;
  std::optional<RuleFailure> failure;
};

void ExpectOrder(Type type, tests::FakeForm form, const std::vector<Row>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    rows[i].mend(form);
    const auto failure = CheckNewMonitor(type, form, OnlyTaken);
    EXPECT_EQ(failure, rows[i].failure) << "row " << i << ": " << (failure ? failure->message : "passes");
  }
}

auto Text(TextField field, const char* text) {
  return [=](tests::FakeForm& form) { form.text[field] = text; };
}

/// Wrong in everything that a wizard looks at.
tests::FakeForm WrongForm() {
  tests::FakeForm form;
  form.text = {{txtMonitorName, "  "}, {txtPagerNumber, "  "}, {txtMonitorPoint, "  "},
               {txtPop3Account, "  "}, {txtSmtpFrom, "  "},    {txtSmtpTo, "  "}};
  form.checked[chkInetCall] = true;
  return form;
}

const RuleFailure Silent{"", Information};
const RuleFailure Taken{"taken already exists in the service list", Information};
const RuleFailure Pager{"Invalid phone or pager number", Information};
const RuleFailure CallType{"Invalid phone or pager number, Or not select a call type", Information};
const auto NoChange = [](tests::FakeForm&) {};
const auto SelectCallType = [](tests::FakeForm& form) { form.selected[cmbPagerType] = 0; };

TEST(SettingsNewMonitor, TheWebWizardChecksInItsOrder) {
  const RuleFailure flag{"You must specify the flag parameter and flag options", Exclamation};
  const auto option = [](int index) {
    return [=](tests::FakeForm& form) { form.selected[optFlag] = index; };
  };
  ExpectOrder(Type::Web, WrongForm(),
              {{NoChange, Silent},
               {Text(txtMonitorName, " taken "), Taken},
               {Text(txtMonitorName, "shop"), RuleFailure{"Invalid URL", Information}},
               {Text(txtMonitorPoint, "  HTTPanything "), Pager},
               {Text(txtPagerNumber, "x"), CallType},
               {SelectCallType, flag},
               {option(0), flag},
               {Text(txtBySize, " "), std::nullopt},
               {option(2), flag},
               {option(1), std::nullopt}});
}

TEST(SettingsNewMonitor, ThePop3WizardChecksInItsOrder) {
  ExpectOrder(
      Type::Pop3, WrongForm(),
      {{NoChange, Silent},
       {Text(txtMonitorName, " taken "), Taken},
       {Text(txtMonitorName, "shop"), CallType},
       {Text(txtPagerNumber, "x"), CallType},
       {SelectCallType, RuleFailure{"Pop3 server address must not be null", Information}},
       {Text(txtMonitorPoint, "x"), RuleFailure{"the test pop3 account must not be null", Information}},
       {Text(txtPop3Account, "x"), std::nullopt}});
}

TEST(SettingsNewMonitor, TheSmtpWizardChecksInItsOrder) {
  const RuleFailure from{"Invalid smtp from account", Critical};
  const RuleFailure toTitle{"Invalid smtp To title", Critical};
  const RuleFailure toAccount{"Invalid smtp to account", Critical};
  ExpectOrder(Type::Smtp, WrongForm(),
              {{NoChange, Silent},
               {Text(txtMonitorName, " taken "), Taken},
               {Text(txtMonitorName, "shop"), Pager},
               {Text(txtPagerNumber, "x"), CallType},
               {SelectCallType, RuleFailure{"smtp server address must not be null", Information}},
               {Text(txtMonitorPoint, "x"), from},
               {Text(txtSmtpFrom, "@b"), from},
               {Text(txtSmtpFrom, " @"), toTitle},
               {Text(txtSmtpTo, "ab"), toAccount},
               {Text(txtSmtpTo, "@b"), toAccount},
               {Text(txtSmtpTo, "a@"), std::nullopt}});
}

TEST(SettingsNewMonitor, TrimsInPlaceThoughALaterRuleFails) {
  for (const auto& [type, point] : tests::Rows<Type, const char*>{
           {Type::Web, "https://x"}, {Type::Pop3, " https://x "}, {Type::Smtp, " https://x "}}) {
    auto form = GoodForm();
    form.text[txtMonitorName] = "  my shop ";
    form.text[txtMonitorPoint] = " https://x ";
    form.text[txtPagerNumber] = "";
    EXPECT_NE(CheckNewMonitor(type, form, OnlyTaken), std::nullopt);
    EXPECT_EQ(form.text[txtMonitorName], "my shop");
    EXPECT_EQ(form.text[txtMonitorPoint], point);
  }
}

TEST(SettingsNewMonitor, AsksForTheFullName) {
  for (const auto type : {Type::Web, Type::Pop3, Type::Smtp}) {
    auto form = GoodForm();
    std::vector<std::string> asked;
    const auto failure = CheckNewMonitor(type, form, [&](const std::string& name) {
      asked.push_back(name);
      return false;
    });
    EXPECT_EQ(failure, std::nullopt);
    EXPECT_EQ(asked, std::vector<std::string>{std::string(TypeName(type)) + " Of shop"});
  }
}

}  // namespace
}  // namespace norvane::settings
