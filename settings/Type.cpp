#include "settings/Type.h"

#include "settings/NewMonitor.h"
#include "settings/PageRules.h"

namespace norvane::settings {
namespace {

namespace engine = console::engine;
namespace keys = engine::keys;
using enum TextField;

constexpr TextAttribute Pop3Own[] = {{keys::PopAccount, txtPop3Account}, {keys::PopPass, txtPop3Password}};
constexpr TextAttribute SmtpOwn[] = {{keys::From, txtSmtpFrom}, {keys::To, txtSmtpTo}};

constexpr const Rule* WebPage[] = {
    &page::WebPoint,  &page::Interval,    &page::WaitTime,    &page::RetryTimes,
    &page::LogFile,   &page::EmailAddr,   &page::EmailServer, &page::PagerNumber,
    &page::LaunchCmd, &page::LaunchUpCmd, &page::Retrytime,
};
constexpr const Rule* Pop3Page[] = {
    &page::PopPoint,    &page::PopAccount,  &page::Interval,    &page::WaitTime,
    &page::EmailAddr,   &page::EmailServer, &page::RetryTimes,  &page::LogFile,
    &page::PagerNumber, &page::LaunchCmd,   &page::LaunchUpCmd, &page::Retrytime,
};
constexpr const Rule* SmtpPage[] = {
    &page::SmtpPoint,   &page::SmtpFrom,  &page::SmtpTo,      &page::SmtpToAt,   &page::EmailAddr,
    &page::EmailServer, &page::Interval,  &page::WaitTime,    &page::RetryTimes, &page::LogFile,
    &page::PagerNumber, &page::LaunchCmd, &page::LaunchUpCmd, &page::Retrytime,
};

constexpr const Rule* WebWizard[] = {&wizard::WebUrl, &wizard::Pager, &wizard::CallType, &wizard::WebFlag};
constexpr const Rule* Pop3Wizard[] = {&wizard::PopPager, &wizard::CallType, &wizard::PopPoint,
                                      &wizard::PopAccount};
constexpr const Rule* SmtpWizard[] = {&wizard::Pager,    &wizard::CallType, &wizard::SmtpPoint,
                                      &wizard::SmtpFrom, &wizard::SmtpTo,   &wizard::SmtpToAt};

}  // namespace

constinit const Type Type::Web{.name = engine::TypeWeb,
                               .successFlag = true,
                               .defaultCommand = true,
                               .pageRules = WebPage,
                               .wizardRules = WebWizard};
constinit const Type Type::Pop3{
    .name = engine::TypePop3, .own = Pop3Own, .pageRules = Pop3Page, .wizardRules = Pop3Wizard};
constinit const Type Type::Smtp{
    .name = engine::TypeSmtp, .own = SmtpOwn, .pageRules = SmtpPage, .wizardRules = SmtpWizard};

}  // namespace norvane::settings
