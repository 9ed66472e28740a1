#include "settings/NewMonitor.h"

#include "formats/SuccessFlag.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using enum ChoiceField;
using enum Icon;

std::string TrimInPlace(Fields& form, TextField field) {
  std::string text(platform::Trimmed(form.Text(field)));
  form.SetText(field, text);
  return text;
}

bool FailsUrlStart(const Subject& subject) {
  return !platform::StartsWithIgnoringCase(TrimInPlace(subject.form, subject.field), "http");
}

bool LacksCallType(const Subject& subject) {
  return subject.form.Checked(chkInetCall) && subject.form.Selected(cmbPagerType) < 0;
}

bool LacksFlag(const Subject& subject) {
  using Kind = formats::SuccessFlag::Kind;
  const auto kind = static_cast<Kind>(subject.form.Selected(optFlag));
  return subject.Text().empty() || (kind != Kind::Size && kind != Kind::String);
}

constexpr std::string_view PagerMessage = "Invalid phone or pager number";
constexpr std::string_view CallTypeMessage = "Invalid phone or pager number, Or not select a call type";

constexpr Rule WebUrl{txtMonitorPoint, FailsUrlStart, "Invalid URL", Information};
constexpr Rule WebFlag{txtBySize, LacksFlag, "You must specify the flag parameter and flag options",
                       Exclamation};
constexpr Rule Pager{txtPagerNumber, IsBlank, PagerMessage, Information};
constexpr Rule PopPager{txtPagerNumber, IsBlank, CallTypeMessage, Information};
constexpr Rule CallType{txtPagerNumber, LacksCallType, CallTypeMessage, Information};
constexpr Rule PopPoint{txtMonitorPoint, IsBlank, "Pop3 server address must not be null", Information};
constexpr Rule PopAccount{txtPop3Account, IsBlank, "the test pop3 account must not be null", Information};
constexpr Rule SmtpPoint{txtMonitorPoint, IsBlank, "smtp server address must not be null", Information};
constexpr Rule SmtpFrom{txtSmtpFrom, LacksAccount, "Invalid smtp from account", Critical};
constexpr Rule SmtpTo{txtSmtpTo, SortsAsBlank, "Invalid smtp To title", Critical};
constexpr Rule SmtpToAt{txtSmtpTo, LacksAccount, "Invalid smtp to account", Critical};

// clang-format off
constexpr ByType<const Rule*> InOrder[] = {
    // web       POP3         SMTP
    {&WebUrl,    nullptr,     nullptr   },
    {&Pager,     &PopPager,   &Pager    },
    {&CallType,  &CallType,   &CallType },
    {&WebFlag,   &PopPoint,   &SmtpPoint},
    {nullptr,    &PopAccount, &SmtpFrom },
    {nullptr,    nullptr,     &SmtpTo   },
    {nullptr,    nullptr,     &SmtpToAt },
};
// clang-format on

}  // namespace

std::optional<RuleFailure> CheckName(std::string_view typeName, Fields& form,
                                     const std::function<bool(const std::string&)>& exists) {
  const auto name = TrimInPlace(form, txtMonitorName);
  if (name.empty()) return RuleFailure{"", Information};
  if (exists(FullName(typeName, name)))
    return RuleFailure{name + " already exists in the service list", Information};
  return std::nullopt;
}

std::optional<RuleFailure> CheckNewMonitor(Type type, Fields& form,
                                           const std::function<bool(const std::string&)>& exists) {
  if (auto failure = CheckName(TypeName(type), form, exists)) return failure;
  return FirstFailure(InOrder, type, form, {});
}

}  // namespace norvane::settings
