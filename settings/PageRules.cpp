#include "settings/PageRules.h"

#include <algorithm>

#include "formats/Number.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/Paths.h"
#include "platform/Utf8.h"
#include "settings/Text.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using platform::CountCharacters;

bool FailsUrlShape(const Subject& subject) {
  const auto text = subject.Text();
  return Position(text, ".") < 6 || Position(text, "/") < 4;
}

bool FailsNumber(const Subject& subject) {
  const auto number = formats::ParseNumber(subject.Text());
  return !number || *number < 0;
}

/// A short name is taken for a drive's if its second character is a colon.
bool FailsLogFile(const Subject& subject) {
  const auto text = subject.Text();
  const auto colon = text.find(':', 1);
  const bool drive =
      colon != std::string::npos && CountCharacters(std::string_view(text).substr(0, colon)) == 1;
  return CountCharacters(platform::Trimmed(text)) < 3 && !drive;
}

bool FailsEmailAddress(const Subject& subject) {
  if (!subject.form.Checked(chkByEmail)) return false;
  const std::string address(platform::Trimmed(subject.Text()));
  subject.form.SetText(subject.field, address);
  return Position(address, "@") < 2 || Position(address, ".") < 4;
}

bool FailsEmailServer(const Subject& subject) {
  return subject.form.Checked(chkByEmail) && IsBlank(subject);
}

/// Numbers count whatever the mode. Other text does only while the pager is in use, since an e-mail monitor
/// shows its address here; it may be a number as people write it, but no address.
bool FailsPagerNumber(const Subject& subject) {
  const auto text = subject.Text();
  if (const auto number = formats::ParseNumber(platform::Trimmed(text))) return *number < 6;
  if (!subject.form.Checked(chkByPager)) return false;
  const bool digit = std::any_of(text.begin(), text.end(), &platform::IsAsciiDigit);
  return !digit || Position(text, "@") != 0;
}

template <std::string (*PathOf)(const std::string&, std::string_view)>
bool FailsCommandFile(const Subject& subject) {
  return !IsBlank(subject) && !platform::FileExists(PathOf(subject.Text(), subject.folder));
}

std::string InFolder(const std::string& text, std::string_view folder) {
  return std::string(folder) + '/' + platform::NativePath(text);
}

constexpr Rule WebPoint{txtMonitorPoint, FailsUrlShape, "Invalid monitor point"};
constexpr Rule PopPoint{txtMonitorPoint, SortsAsBlank, "Invalid monitor point"};
constexpr Rule SmtpPoint{txtMonitorPoint, IsBlank, "Invalid smtp server name"};
constexpr Rule PopAccount{txtPop3Account, SortsAsBlank, "Invalid Pop3 Account"};
constexpr Rule SmtpFrom{txtSmtpFrom, LacksAccount, "Invalid smtp from account"};
constexpr Rule SmtpTo{txtSmtpTo, SortsAsBlank, "Invalid smtp To title"};
constexpr Rule SmtpToAt{txtSmtpTo, LacksAccount, "Invalid smtp TO account"};
constexpr Rule Interval{txtInterval, FailsNumber, "invalid monitor interval"};
constexpr Rule WaitTime{txtWaitTime, FailsNumber, "invalid Respond waiting time"};
constexpr Rule RetryTimes{txtRetryTimes, FailsNumber, "invalid retry times"};
constexpr Rule Retrytime{txtRetrytime, FailsNumber, "Invalid command launch retry time"};
constexpr Rule LogFile{txtLogFile, FailsLogFile, "Invalid logfile name"};
constexpr Rule EmailAddr{txtEmailAddr, FailsEmailAddress, "Inavalid email address"};
constexpr Rule EmailServer{txtSmtpServer, FailsEmailServer, "Invalid SMTP server name"};
constexpr Rule PagerNumber{txtPagerNumber, FailsPagerNumber, "invalid pager number"};
constexpr Rule LaunchCmd{txtLaunchCmd, FailsCommandFile<LaunchCmdPath>, "invalid launch command file"};
constexpr Rule LaunchUpCmd{txtLaunchUpCmd, FailsCommandFile<LaunchUpCmdPath>,
                           "invalid server up launch command file"};

// clang-format off
constexpr ByType<const Rule*> InOrder[] = {
    // web          POP3          SMTP
    {&WebPoint,     &PopPoint,    &SmtpPoint  },
    {nullptr,       &PopAccount,  &SmtpFrom   },
    {nullptr,       nullptr,      &SmtpTo     },
    {nullptr,       nullptr,      &SmtpToAt   },
    {nullptr,       nullptr,      &EmailAddr  },
    {nullptr,       nullptr,      &EmailServer},
    {&Interval,     &Interval,    &Interval   },
    {&WaitTime,     &WaitTime,    &WaitTime   },
    {nullptr,       &EmailAddr,   nullptr     },
    {nullptr,       &EmailServer, nullptr     },
    {&RetryTimes,   &RetryTimes,  &RetryTimes },
    {&LogFile,      &LogFile,     &LogFile    },
    {&EmailAddr,    nullptr,      nullptr     },
    {&EmailServer,  nullptr,      nullptr     },
    {&PagerNumber,  &PagerNumber, &PagerNumber},
    {&LaunchCmd,    &LaunchCmd,   &LaunchCmd  },
    {&LaunchUpCmd,  &LaunchUpCmd, &LaunchUpCmd},
    {&Retrytime,    &Retrytime,   &Retrytime  },
};
// clang-format on

}  // namespace

std::optional<RuleFailure> Validate(Type type, Fields& form, std::string_view folder) {
  return FirstFailure(InOrder, type, form, folder);
}

std::string LaunchCmdPath(const std::string& text, std::string_view folder) {
  const bool namesFolder = text.find_first_of("\\/") != std::string::npos;
  return namesFolder ? platform::NativePath(text) : InFolder(text, folder);
}

std::string LaunchUpCmdPath(const std::string& text, std::string_view folder) {
  const bool complete = text.starts_with('/') || text.find(':') != std::string::npos;
  return complete ? platform::NativePath(text) : InFolder(text, folder);
}

}  // namespace norvane::settings
