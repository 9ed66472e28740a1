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

/// A name of up to two characters must be a drive's, with a colon as its second character.
bool FailsLogFile(const Subject& subject) {
  const auto text = subject.Text();
  const auto colon = text.find(':', 1);
  const bool drive =
      colon != std::string::npos && CountCharacters(std::string_view(text).substr(0, colon)) == 1;
  return CountCharacters(platform::Trimmed(text)) < 3 && !drive;
}

bool FailsEmailAddress(const Subject& subject) {
  const auto address = subject.Text();
  return Position(address, "@") < 2 || Position(address, ".") < 4;
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

}  // namespace

namespace page {
constinit const Rule WebPoint{txtMonitorPoint, FailsUrlShape, "Invalid monitor point"};
constinit const Rule PopPoint{txtMonitorPoint, SortsAsBlank, "Invalid monitor point"};
constinit const Rule SmtpPoint{txtMonitorPoint, IsBlank, "Invalid smtp server name"};
constinit const Rule PopAccount{txtPop3Account, SortsAsBlank, "Invalid Pop3 Account"};
constinit const Rule SmtpFrom{txtSmtpFrom, LacksAccount, "Invalid smtp from account"};
constinit const Rule SmtpTo{txtSmtpTo, SortsAsBlank, "Invalid smtp To title"};
constinit const Rule SmtpToAt{txtSmtpTo, LacksAccount, "Invalid smtp TO account"};
constinit const Rule Interval{txtInterval, FailsNumber, "invalid monitor interval"};
constinit const Rule WaitTime{txtWaitTime, FailsNumber, "invalid Respond waiting time"};
constinit const Rule RetryTimes{txtRetryTimes, FailsNumber, "invalid retry times"};
constinit const Rule Retrytime{txtRetrytime, FailsNumber, "Invalid command launch retry time"};
constinit const Rule LogFile{txtLogFile, FailsLogFile, "Invalid logfile name"};
constinit const Rule EmailAddr{.field = txtEmailAddr,
                               .fails = FailsEmailAddress,
                               .message = "Inavalid email address",
                               .onlyIf = chkByEmail,
                               .trims = true};
constinit const Rule EmailServer{
    .field = txtSmtpServer, .fails = IsBlank, .message = "Invalid SMTP server name", .onlyIf = chkByEmail};
constinit const Rule PagerNumber{txtPagerNumber, FailsPagerNumber, "invalid pager number"};
constinit const Rule LaunchCmd{txtLaunchCmd, FailsCommandFile<LaunchCmdPath>, "invalid launch command file"};
constinit const Rule LaunchUpCmd{txtLaunchUpCmd, FailsCommandFile<LaunchUpCmdPath>,
                                 "invalid server up launch command file"};
}  // namespace page

std::optional<RuleFailure> Validate(const Type& type, Fields& form, std::string_view folder) {
  return FirstFailure(type.pageRules, form, folder);
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
