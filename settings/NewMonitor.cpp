#include "settings/NewMonitor.h"

#include "formats/SuccessFlag.h"
#include "platform/Ascii.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using enum ChoiceField;
using enum Icon;

bool FailsUrlStart(const Subject& subject) {
  return !platform::StartsWithIgnoringCase(subject.Text(), "http");
}

bool LacksCallType(const Subject& subject) {
  return subject.form.Selected(cmbPagerType) < 0;
}

bool LacksFlag(const Subject& subject) {
  using Kind = formats::SuccessFlag::Kind;
  const auto kind = static_cast<Kind>(subject.form.Selected(optFlag));
  return subject.Text().empty() || (kind != Kind::Size && kind != Kind::String);
}

constexpr std::string_view PagerMessage = "Invalid phone or pager number";
constexpr std::string_view CallTypeMessage = "Invalid phone or pager number, Or not select a call type";

}  // namespace

namespace wizard {
constinit const Rule WebUrl{.field = txtMonitorPoint,
                            .fails = FailsUrlStart,
                            .message = "Invalid URL",
                            .icon = Information,
                            .trims = true};
constinit const Rule WebFlag{txtBySize, LacksFlag, "You must specify the flag parameter and flag options",
                             Exclamation};
constinit const Rule Pager{txtPagerNumber, IsBlank, PagerMessage, Information};
constinit const Rule PopPager{txtPagerNumber, IsBlank, CallTypeMessage, Information};
constinit const Rule CallType{.field = txtPagerNumber,
                              .fails = LacksCallType,
                              .message = CallTypeMessage,
                              .icon = Information,
                              .onlyIf = chkInetCall};
constinit const Rule PopPoint{txtMonitorPoint, IsBlank, "Pop3 server address must not be null", Information};
constinit const Rule PopAccount{txtPop3Account, IsBlank, "the test pop3 account must not be null",
                                Information};
constinit const Rule SmtpPoint{txtMonitorPoint, IsBlank, "smtp server address must not be null", Information};
constinit const Rule SmtpFrom{txtSmtpFrom, LacksAccount, "Invalid smtp from account", Critical};
constinit const Rule SmtpTo{txtSmtpTo, SortsAsBlank, "Invalid smtp To title", Critical};
constinit const Rule SmtpToAt{txtSmtpTo, LacksAccount, "Invalid smtp to account", Critical};
}  // namespace wizard

std::optional<RuleFailure> CheckName(std::string_view typeName, const std::string& name,
                                     const std::function<bool(const std::string&)>& exists) {
  if (name.empty()) return RuleFailure{"", Information};
  if (exists(FullName(typeName, name)))
    return RuleFailure{name + " already exists in the service list", Information};
  return std::nullopt;
}

std::optional<RuleFailure> CheckNewMonitor(const Type& type, Fields& form,
                                           const std::function<bool(const std::string&)>& exists) {
  if (auto failure = CheckName(type.name, TrimField(form, txtMonitorName), exists)) return failure;
  return FirstFailure(type.wizardRules, form, {});
}

}  // namespace norvane::settings
