#include "settings/PageRules.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "loopback/TempFolder.h"
#include "tests/settings/FakeForm.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using tests::Rows;

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

class SettingsPageRules : public ::testing::Test {
 protected:
  loopback::TempFolder folder;
};

TEST_F(SettingsPageRules, JudgeOneField) {
  const Rows<Type, TextField, std::vector<std::string>, std::vector<std::string>> rows = {
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
  for (const auto& [type, field, pass, fail] : rows) {
    const auto judge = [&](const std::string& text) {
      auto form = GoodForm();
      form.text[field] = text;
      return MessageOf(Validate(type, form, folder.Path()));
    };
    for (const auto& text : pass)
      EXPECT_EQ(judge(text), "") << text;
    for (const auto& text : fail)
      EXPECT_NE(judge(text), "") << text;
  }
}

TEST_F(SettingsPageRules, MailFieldsCountOnlyForMail) {
  for (const auto& type : {Type::Web, Type::Pop3, Type::Smtp}) {
    auto form = GoodForm();
    form.checked[chkByEmail] = false;
    form.text[txtEmailAddr] = " x ";
    form.text[txtSmtpServer] = "";
    EXPECT_EQ(Validate(type, form, folder.Path()), std::nullopt);
    EXPECT_EQ(form.record, std::vector<std::string>());
  }
}

TEST_F(SettingsPageRules, PagerNumbersThatAreNoNumbersCountWhileThePagerIsInUse) {
  using Texts = std::vector<const char*>;
  for (const auto& [texts, passesUnused, passesInUse] : Rows<Texts, bool, bool>{
           {{"12345678", " 6 ", "555-1234", "+49 (40) 1"}, true, true},
           {{"", "   ", "nobody", "me2@example.com"}, true, false},
           {{"5", "5.9", "-12345678", "0"}, false, false},
       })
    for (const auto* text : texts)
      for (const bool inUse : {false, true}) {
        auto form = GoodForm();
        form.text[txtPagerNumber] = text;
        form.checked[chkByPager] = inUse;
        EXPECT_EQ(!Validate(Type::Web, form, folder.Path()), inUse ? passesInUse : passesUnused) << text;
      }
}

TEST_F(SettingsPageRules, CommandFilesAreLookedForInTheirFolders) {
  const Rows<const char*, const char*, const char*> rows = {
      {"up.sh", "/app/up.sh", "/app/up.sh"},
      {" up.sh", "/app/ up.sh", "/app/ up.sh"},
      {"sub\\x.bat", "sub/x.bat", "/app/sub/x.bat"},
      {"sub/x.bat", "sub/x.bat", "/app/sub/x.bat"},
      {"c:x.bat", "/app/c:x.bat", "c:x.bat"},
      {"c:\\x.bat", "c:/x.bat", "c:/x.bat"},
      {"/bin/x", "/bin/x", "/bin/x"},
      {"\\bin\\x", "/bin/x", "/app//bin/x"},
  };
  for (const auto& [text, launchCmd, launchUpCmd] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(LaunchCmdPath(text, "/app"), launchCmd);
    EXPECT_EQ(LaunchUpCmdPath(text, "/app"), launchUpCmd);
  }
}

TEST_F(SettingsPageRules, CommandsMustBeFilesIfThereAreAny) {
  tests::WriteFile(folder / "up.sh", "");
  std::filesystem::create_directory(folder / "sub");
  const auto passes = [&](TextField field, const std::string& text) {
    auto form = GoodForm();
    form.checked[chkDefaultCmd] = true;
    form.text[field] = text;
    return !Validate(Type::Web, form, folder.Path());
  };
  for (const auto field : {txtLaunchCmd, txtLaunchUpCmd}) {
    for (const std::string& good :
         {std::string(), std::string("   "), std::string("up.sh"), folder / "up.sh"})
      EXPECT_TRUE(passes(field, good)) << good;
    for (const auto& bad : {std::string("missing.sh"), std::string("sub"), folder / "sub",
                            std::string(" up.sh"), std::string(5000, 'x'), std::string("up.sh\0", 6)})
      EXPECT_FALSE(passes(field, bad)) << bad;
  }
}

}  // namespace
}  // namespace norvane::settings
