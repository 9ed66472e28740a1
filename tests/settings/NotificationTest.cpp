#include "settings/Notification.h"

#include <gtest/gtest.h>

#include "tests/settings/EngineMonitor.h"
#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using enum ChoiceField;
using Record = std::vector<std::string>;
using tests::Rows;

const GatewaySettings Gateway{
    "http://gw.example.org/scripts/sms.dll?[Call]", "ops@example.org", {"http://old.example.org/?[Call]"}};
constexpr const char* InternetCall = "http://gw.example.org/scripts/sms.dll?[Call]cmd=11&mode=";

tests::FakeForm FilledForm() {
  tests::FakeForm form;
  form.text = {{txtPagerNumber, " 5551234 "},
               {txtPagerMsg, "Server down"},
               {txtEmailAddr, "me@example.org"},
               {txtSmtpServer, " mailhost "},
               {txtSubject, "Subject"}};
  form.pagerTypes = 3;
  return form;
}

TEST(SettingsNotification, WritesWhatTheChecksSay) {
  const std::string number = "Monitor_Notify Pager= 5551234 ";
  const std::string message = "Monitor_Notify Msg=Server down";
  const std::string mode = "Monitor_Notify Mode=";
  const Record mail = {mode + "SMTP:// mailhost ;ops@example.org", "Monitor_Notify Pager=me@example.org",
                       "Monitor_Notify Msg=Subject"};
  const Rows<const char*, bool, bool, bool, int, Record> rows = {
      {"direct call", false, true, false, 2, {mode + "TEL://", number, message}},
      {"internet call", false, true, true, 2, {mode + InternetCall + "2&msg=%s&num=%s", number, message}},
      {"first entry", false, true, true, 0, {mode + InternetCall + "0&msg=%s&num=%s", number, message}},
      {"no entry selected", false, true, true, -1, {number, message}},
      {"e-mail", true, false, true, 2, mail},
      {"the pager wins", true, true, false, -1, {mode + "TEL://", number, message}},
      {"none", false, false, true, 2, {mode}},
  };
  for (const auto& [name, byEmail, byPager, inetCall, pagerType, expected] : rows) {
    auto form = FilledForm();
    form.checked = {{chkByEmail, byEmail}, {chkByPager, byPager}, {chkInetCall, inetCall}};
    form.selected[cmbPagerType] = pagerType;
    Record written;
    WriteNotification(form, Gateway, "", [&](auto key, auto value) {
      written.push_back(std::string(key) + '=' + std::string(value));
    });
    EXPECT_EQ(written, expected) << name;
  }
}

TEST(SettingsNotification, ReadsTheModeInAnyLetterCase) {
  const auto call = [](int entry) {
    return Record{"chkByPager = 1", "chkInetCall = 1", "cmbPagerType = " + std::to_string(entry)};
  };
  const auto mail = [](const std::string& server) {
    return Record{"chkByEmail = 1",
                  "txtSmtpServer = \"" + server + '"',
                  "GetAttr(\"Monitor_Notify Pager\")",
                  "txtEmailAddr = \"Me@example.org\"",
                  "GetAttr(\"Monitor_Notify Msg\")",
                  "txtSubject = \"Server down\""};
  };
  const Record direct = {"chkInetCall = 0", "chkByPager = 1"};
  const Record none = {"chkByPager = 0", "chkByEmail = 0"};
  const std::string url = InternetCall;
  const Rows<std::string, Record> rows = {
      {url + "2&msg=%s&num=%s", call(2)},
      {url + "0&msg=%s&num=%s", call(0)},
      {"HTTP://GW.EXAMPLE.ORG/SCRIPTS/SMS.DLL?[CALL]CMD=11&MODE=1&MSG=%S&NUM=%S", call(1)},
      {url + "1", call(1)},
      {"http://Old.example.org/?[Call]cmd=11&mode=2&msg=%s&num=%s", call(2)},
      {url + "3&msg=%s&num=%s", call(-1)},
      {url + "65537&msg=%s&num=%s", call(-1)},
      {url + "-1&msg=%s&num=%s", call(-1)},
      {url + "1e300", call(-1)},
      {url + "&msg=1", call(0)},
      {url, call(0)},
      {Gateway.PagerGatewayUrl + "cmd=11&mode", call(0)},
      {Gateway.PagerGatewayUrl + "cmd=11", call(-1)},
      {"SMTP://mailhost;ops@example.org", mail("MAILHOST")},
      {"smtp://Mail.Example.org;a;b", mail("MAIL.EXAMPLE.ORG")},
      {"SMTP://m\xc3\xa4il;", mail("M\xc3\x84IL")},
      {"SMTP://;ops@example.org", mail("")},
      {"SMTP://mailhost", mail("")},
      {"SMTP://", mail("")},
      {"TEL://", direct},
      {"tel://12345", direct},
      {"", none},
      {"TEL:/", none},
      {" TEL://", none},
      {"http://other.example.org/?[Call]cmd=11&mode=2", none},
      {"https://sms.example.org/Send?text=%s&to=%s", none},
  };
  for (const auto& [mode, set] : rows) {
    SCOPED_TRACE(mode);
    auto form = FilledForm();
    tests::EngineMonitor monitor(form, "WebMonitor Of shop",
                                 {{"Monitor_Notify Mode", mode},
                                  {"Monitor_Notify Pager", "Me@example.org"},
                                  {"Monitor_Notify Msg", "Server down"}});
    const auto kept = ReadNotification(form, monitor.Item(), Gateway);
    EXPECT_EQ(kept, set == none ? mode : "");
    Record expected = {"GetAttr(\"Monitor_Notify Mode\")"};
    expected.insert(expected.end(), set.begin(), set.end());
    EXPECT_EQ(form.record, expected);
  }
}

TEST(SettingsNotification, AShorterListKeepsTheStoredCall) {
  const std::string stored = InternetCall + std::string("2&msg=%s&num=%s");
  tests::FakeForm form;
  form.pagerTypes = 2;
  tests::EngineMonitor monitor(form, "WebMonitor Of shop", {{"Monitor_Notify Mode", stored}});
  EXPECT_EQ(ReadNotification(form, monitor.Item(), Gateway), "");
  form.SetText(txtPagerNumber, "7654321");
  WriteNotification(form, Gateway, "", [&](auto key, auto value) { monitor.Item().SetAttr(key, value); });
  EXPECT_EQ(monitor.Stored().at("Monitor_Notify Mode"), stored);
  EXPECT_EQ(monitor.Stored().at("Monitor_Notify Pager"), "7654321");
}

}  // namespace
}  // namespace norvane::settings
