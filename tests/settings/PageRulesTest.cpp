#include "settings/PageRules.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/settings/FakeForm.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;

std::string MessageOf(const std::optional<RuleFailure>& failure) {
  return failure ? failure->message : "";
}

/// A form that every page's rules let pass, with files in `folder`.
tests::FakeForm GoodForm() {
  tests::FakeForm form;
  form.text = {{txtMonitorPoint, "http://www.example.com/index.htm"},
               {txtPop3Account, "test"},
               {txtSmtpFrom, "a@"},
               {txtSmtpTo, "test@example.com"},
               {txtInterval, "60"},
               {txtWaitTime, "30"},
               {txtRetryTimes, "2"},
               {txtRetrytime, "2"},
               {txtEmailAddr, "test@example.com"},
               {txtSmtpServer, "mail"},
               {txtPagerNumber, "12345678"},
               {txtLogFile, "log"}};
  form.checked[chkByEmail] = true;
  return form;
}

struct Broken {
  TextField field;
  const char* text;
  const char* message;
};

class SettingsPageRules : public ::testing::Test {
 protected:
  /// With all of `broken` in one form, mending one after the other shows the messages in their order.
  void ExpectOrder(Type type, const std::vector<Broken>& broken) {
    auto form = GoodForm();
    const auto good = form.text;
    for (auto it = broken.rbegin(); it != broken.rend(); ++it)
      form.text[it->field] = it->text;
    for (std::size_t i = 0; i < broken.size(); ++i) {
      const auto failure = Validate(type, form, folder.Path());
      EXPECT_EQ(failure, (RuleFailure{broken[i].message, Icon::Critical})) << "rule " << i;
      const bool again = i + 1 < broken.size() && broken[i + 1].field == broken[i].field;
      form.text[broken[i].field] = again ? broken[i + 1].text : Good(good, broken[i].field);
    }
    EXPECT_EQ(Validate(type, form, folder.Path()), std::nullopt);
  }

  static std::string Good(const std::map<TextField, std::string>& good, TextField field) {
    const auto found = good.find(field);
    return found == good.end() ? std::string() : found->second;
  }

  tests::TempFolder folder;
};

TEST_F(SettingsPageRules, RunInTheOrderOfEachPage) {
  ExpectOrder(Type::Web, {{txtMonitorPoint, "", "Invalid monitor point"},
                          {txtInterval, "", "invalid monitor interval"},
                          {txtWaitTime, "", "invalid Respond waiting time"},
                          {txtRetryTimes, "", "invalid retry times"},
                          {txtLogFile, "", "Invalid logfile name"},
                          {txtEmailAddr, "", "Inavalid email address"},
                          {txtSmtpServer, "", "Invalid SMTP server name"},
                          {txtPagerNumber, "5", "invalid pager number"},
                          {txtLaunchCmd, "missing", "invalid launch command file"},
                          {txtLaunchUpCmd, "missing", "invalid server up launch command file"},
                          {txtRetrytime, "", "Invalid command launch retry time"}});
  ExpectOrder(Type::Pop3, {{txtMonitorPoint, "", "Invalid monitor point"},
                           {txtPop3Account, "  ", "Invalid Pop3 Account"},
                           {txtInterval, "", "invalid monitor interval"},
                           {txtWaitTime, "", "invalid Respond waiting time"},
                           {txtEmailAddr, "", "Inavalid email address"},
                           {txtSmtpServer, "", "Invalid SMTP server name"},
                           {txtRetryTimes, "", "invalid retry times"},
                           {txtLogFile, "", "Invalid logfile name"},
                           {txtPagerNumber, "5", "invalid pager number"},
                           {txtLaunchCmd, "missing", "invalid launch command file"},
                           {txtLaunchUpCmd, "missing", "invalid server up launch command file"},
                           {txtRetrytime, "", "Invalid command launch retry time"}});
  ExpectOrder(Type::Smtp, {{txtMonitorPoint, " ", "Invalid smtp server name"},
                           {txtSmtpFrom, " ", "Invalid smtp from account"},
                           {txtSmtpFrom, "@example.com", "Invalid smtp from account"},
                           {txtSmtpTo, " ", "Invalid smtp To title"},
                           {txtSmtpTo, "@example.com", "Invalid smtp TO account"},
                           {txtEmailAddr, "", "Inavalid email address"},
                           {txtSmtpServer, "", "Invalid SMTP server name"},
                           {txtInterval, "", "invalid monitor interval"},
                           {txtWaitTime, "", "invalid Respond waiting time"},
                           {txtRetryTimes, "", "invalid retry times"},
                           {txtLogFile, "", "Invalid logfile name"},
                           {txtPagerNumber, "5", "invalid pager number"},
                           {txtLaunchCmd, "missing", "invalid launch command file"},
                           {txtLaunchUpCmd, "missing", "invalid server up launch command file"},
                           {txtRetrytime, "", "Invalid command launch retry time"}});
}

TEST_F(SettingsPageRules, JudgeOneField) {
  struct Row {
    Type type;
    TextField field;
    std::vector<std::string> pass;
    std::vector<std::string> fail;
  };
  const Row rows[] = {
      {Type::Web,
       txtMonitorPoint,
       {"ftp://a.b", "abc/e.", "http://www.example.com/"},
       {"www.example.com/", "http://wwwexamplecom/", "http:www.example.com", "ab/cdef.g",
        "\xc3\xa4\xc3\xa4\xc3\xa4/."}},
      {Type::Pop3, txtMonitorPoint, {"mail", "10.0.0.1", "http://x/", " mail "}, {"", "   ", "\x01mail"}},
      {Type::Pop3, txtPop3Account, {"test", " test "}, {"", "  "}},
      {Type::Smtp, txtMonitorPoint, {"mail", "\x01mail"}, {"", "   "}},
      {Type::Smtp, txtSmtpFrom, {"a@", " @b", "\xc3\xa4@"}, {"", "  ", "@b", "@b@c", "ab"}},
      {Type::Smtp, txtSmtpTo, {"a@", " @b"}, {"", "  ", "@b", "ab"}},
      {Type::Web, txtInterval, {"0", "2.5", " 7 ", "1e3", "-0"}, {"", " ", "-1", "2x", "1,5", "nan", "0x10"}},
      {Type::Web, txtRetrytime, {"0"}, {"-0.5"}},
      {Type::Web,
       txtLogFile,
       {"abc", "c:", "\xc3\xa4:", "::", " abc"},
       {"", "ab", " c:", "    ", ":", "\xc3\xa4\xc3\xa4"}},
      {Type::Web,
       txtEmailAddr,
       {"a@b.c", "ab@.", " abc@d. ", "abc.@"},
       {"", "@bc.d", "abc.de", "a@bc", "a.b@cde", "ab.c@de", "a@.b"}},
      {Type::Web, txtSmtpServer, {"m", " m "}, {"", "  "}},
  };
  for (const auto& row : rows) {
    const auto judge = [&](const std::string& text) {
      auto form = GoodForm();
      form.text[row.field] = text;
      return MessageOf(Validate(row.type, form, folder.Path()));
    };
    for (const auto& text : row.pass)
      EXPECT_EQ(judge(text), "") << text;
    for (const auto& text : row.fail)
      EXPECT_NE(judge(text), "") << text;
  }
}

TEST_F(SettingsPageRules, MailFieldsCountOnlyForMail) {
  for (const auto type : {Type::Web, Type::Pop3, Type::Smtp}) {
    auto form = GoodForm();
    form.checked[chkByEmail] = false;
    form.text[txtEmailAddr] = " x ";
    form.text[txtSmtpServer] = "";
    EXPECT_EQ(Validate(type, form, folder.Path()), std::nullopt);
    EXPECT_EQ(form.record, std::vector<std::string>());
  }
}

TEST_F(SettingsPageRules, TheMailAddressStaysTrimmedThoughALaterRuleFails) {
  for (const auto type : {Type::Web, Type::Pop3, Type::Smtp}) {
    auto form = GoodForm();
    form.text[txtEmailAddr] = "  test@example.com ";
    form.text[txtSmtpServer] = "  ";
    form.text[txtPagerNumber] = "5";
    EXPECT_EQ(MessageOf(Validate(type, form, folder.Path())), "Invalid SMTP server name");
    EXPECT_EQ(form.record, std::vector<std::string>{"txtEmailAddr = \"test@example.com\""});
  }
}

TEST_F(SettingsPageRules, PagerNumbersThatAreNoNumbersCountWhileThePagerIsInUse) {
  struct Row {
    const char* text;
    bool passesUnused, passesInUse;
  };
  const Row rows[] = {
      {"12345678", true, true},   {" 6 ", true, true},         {"5", false, false},
      {"5.9", false, false},      {"-12345678", false, false}, {"0", false, false},
      {"", true, false},          {"   ", true, false},        {"555-1234", true, true},
      {"+49 (40) 1", true, true}, {"nobody", true, false},     {"me2@example.com", true, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    for (const bool inUse : {false, true}) {
      auto form = GoodForm();
      form.text[txtPagerNumber] = row.text;
      form.checked[chkByPager] = inUse;
      EXPECT_EQ(!Validate(Type::Web, form, folder.Path()), inUse ? row.passesInUse : row.passesUnused);
    }
  }
}

TEST_F(SettingsPageRules, CommandFilesAreLookedForInTheirFolders) {
  struct Row {
    const char* text;
    const char* launchCmd;
    const char* launchUpCmd;
  };
  const Row rows[] = {
      {"up.sh", "/app/up.sh", "/app/up.sh"},
      {" up.sh", "/app/ up.sh", "/app/ up.sh"},
      {"sub\\x.bat", "sub/x.bat", "/app/sub/x.bat"},
      {"sub/x.bat", "sub/x.bat", "/app/sub/x.bat"},
      {"c:x.bat", "/app/c:x.bat", "c:x.bat"},
      {"c:\\x.bat", "c:/x.bat", "c:/x.bat"},
      {"/bin/x", "/bin/x", "/bin/x"},
      {"\\bin\\x", "/bin/x", "/app//bin/x"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(LaunchCmdPath(row.text, "/app"), row.launchCmd);
    EXPECT_EQ(LaunchUpCmdPath(row.text, "/app"), row.launchUpCmd);
  }
}

TEST_F(SettingsPageRules, CommandsMustBeFilesIfThereAreAny) {
  tests::WriteFile(folder / "up.sh", "");
  std::filesystem::create_directory(folder / "sub");
  struct Row {
    std::string text;
    bool passes;
  };
  const Row rows[] = {
      {"", true},
      {"   ", true},
      {"up.sh", true},
      {folder / "up.sh", true},
      {"missing.sh", false},
      {"sub", false},
      {folder / "sub", false},
      {" up.sh", false},
      {std::string(5000, 'x'), false},
      {std::string("up.sh\0", 6), false},
  };
  for (const auto& row : rows)
    for (const auto field : {txtLaunchCmd, txtLaunchUpCmd}) {
      SCOPED_TRACE(row.text);
      auto form = GoodForm();
      form.checked[chkDefaultCmd] = true;
      form.text[field] = row.text;
      EXPECT_EQ(!Validate(Type::Web, form, folder.Path()), row.passes);
    }
}

}  // namespace
}  // namespace norvane::settings
