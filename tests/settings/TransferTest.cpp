#include "settings/Transfer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "settings/Attributes.h"
#include "tests/settings/EngineMonitor.h"
#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using enum TextField;
using enum CheckField;
using enum ChoiceField;
using console::engine::EngineError;
using console::engine::EngineErrorCode;
using tests::Joined;
using Record = std::vector<std::string>;
using tests::Rows;

const GatewaySettings Gateway{"http://gw.example.org/scripts/sms.dll?[Call]", "ops@example.org"};

tests::FakeForm FilledForm() {
  tests::FakeForm form;
  form.text = {{txtMonitorPoint, " point "}, {txtBySize, "120"},        {txtPop3Account, " account "},
               {txtPop3Password, " pass "},  {txtSmtpFrom, "from@"},    {txtSmtpTo, "to@"},
               {txtInterval, "1"},           {txtWaitTime, "30"},       {txtRetryTimes, "03"},
               {txtRetrytime, "4"},          {txtEmailAddr, "a@b.c"},   {txtSubject, "subject"},
               {txtSmtpServer, "mail"},      {txtPagerNumber, "1234"},  {txtPagerMsg, "down"},
               {txtLaunchCmd, "down.sh"},    {txtLaunchUpCmd, "up.sh"}, {txtLogFile, "x.log"}};
  form.checked[chkByPager] = true;
  form.selected[optFlag] = 0;
  return form;
}

/// One write of an attribute, and one read of it into a field.
Record Write(const std::string& key, const std::string& value) {
  return {"SetAttr(\"" + key + "\", \"" + value + "\")"};
}

Record Read(const std::string& key, const std::string& field, const std::string& value) {
  return {"GetAttr(\"" + key + "\")", field + " = \"" + value + '"'};
}

TEST(SettingsTransfer, SavesInTheOrderOfEachPage) {
  const Record point = Write("Monitor_Parameter", " point ");
  const Record clamp = {"txtInterval = \"2\"", "txtWaitTime = \"1\""};
  const Record rest =
      Joined<std::string>({Write("Monitor_InterVal (s)", "2"), Write("Monitor_Timeout (s)", "1"),
                           Write("Monitor_MaxFailTimes", "03"), Write("Monitor_Notify Mode", "TEL://"),
                           Write("Monitor_Notify Pager", "1234"), Write("Monitor_Notify Msg", "down"),
                           Write("Monitor_Command", "down.sh"), Write("Monitor_FailTimes", "4"),
                           Write("Monitor_Command_Succ", "up.sh"), Write("Monitor_LogFile", "x.log")});
  const Rows<Type, Record> rows = {
      {Type::Web, Joined<std::string>({point, clamp, Write("MonitorExt_SuccessFlag", "SIZE:120"), rest})},
      {Type::Pop3, Joined<std::string>({clamp, point, Write("MonitorExt_PopAccount", " account "),
                                        Write("MonitorExt_PopPass", " pass "), rest})},
      {Type::Smtp, Joined<std::string>({clamp, point, Write("MonitorExt_From", "from@"),
                                        Write("MonitorExt_To", "to@"), rest})},
  };
  for (const auto& [type, expected] : rows) {
    SCOPED_TRACE(TypeName(type));
    auto form = FilledForm();
    tests::EngineMonitor monitor(form, FullName(TypeName(type), "shop"), {});
    SaveData(type, form, monitor.Item(), Gateway);
    EXPECT_EQ(form.record, expected);
  }
}

TEST(SettingsTransfer, OnlyTheWebPageHasADefaultCommand) {
  for (const auto type : {Type::Web, Type::Pop3, Type::Smtp}) {
    auto form = FilledForm();
    form.checked[chkDefaultCmd] = true;
    tests::EngineMonitor monitor(form, FullName(TypeName(type), "shop"), {});
    SaveData(type, form, monitor.Item(), Gateway);
    EXPECT_EQ(monitor.Stored().at("Monitor_Command"), type == Type::Web ? "WebBounce.exe" : "down.sh");
    EXPECT_EQ(form.text[txtLaunchCmd], "down.sh");
  }
}

const tests::EngineMonitor::Attributes MailMonitor = {
    {"Monitor_Parameter", "P"},
    {"MonitorExt_SuccessFlag", "str:Hello"},
    {"MonitorExt_PopAccount", "A"},
    {"MonitorExt_PopPass", " W "},
    {"MonitorExt_From", "F"},
    {"MonitorExt_To", "T"},
    {"Monitor_InterVal (s)", "1"},
    {"Monitor_Timeout (s)", "02"},
    {"Monitor_MaxFailTimes", "3"},
    {"Monitor_FailTimes", "4"},
    {"Monitor_Notify Mode", "smtp://m;x"},
    {"Monitor_Notify Pager", "a@b.c"},
    {"Monitor_Notify Msg", "S"},
    {"Monitor_Command", "webbounce.EXE"},
    {"Monitor_Command_Succ", "U"},
    {"Monitor_LogFile", "L"},
};

TEST(SettingsTransfer, RefreshesInTheOrderOfEachPage) {
  const Record point = Read("Monitor_Parameter", "txtMonitorPoint", "P");
  const Record times = Joined<std::string>({Read("Monitor_InterVal (s)", "txtInterval", "1"),
                                            Read("Monitor_Timeout (s)", "txtWaitTime", "02"),
                                            Read("Monitor_MaxFailTimes", "txtRetryTimes", "3")});
  const Record mail =
      Joined<std::string>({{R"(GetAttr("Monitor_Notify Mode"))", "chkByEmail = 1", R"(txtSmtpServer = "M")"},
                           Read("Monitor_Notify Pager", "txtEmailAddr", "a@b.c"),
                           Read("Monitor_Notify Msg", "txtSubject", "S")});
  const Record checks = {"chkByPager_Click", "chkByEmail_Click", "chkInetCall_Click"};
  const Record pager = Joined<std::string>({Read("Monitor_Notify Pager", "txtPagerNumber", "a@b.c"),
                                            Read("Monitor_Notify Msg", "txtPagerMsg", "S")});
  const Record command = Read("Monitor_Command", "txtLaunchCmd", "webbounce.EXE");
  const Record rest = Joined<std::string>({Read("Monitor_FailTimes", "txtRetrytime", "4"),
                                           Read("Monitor_Command_Succ", "txtLaunchUpCmd", "U"),
                                           Read("Monitor_LogFile", "txtLogFile", "L")});
  const Record pagerType = {"cmbPagerType_Change"};
  const Record end = {"cmdApply.Enabled = 0"};
  const Rows<Type, Record> rows = {
      {Type::Web,
       Joined<std::string>({point,
                            {R"(GetAttr("MonitorExt_SuccessFlag"))", "optFlag = 1", R"(txtBySize = "Hello")"},
                            times,
                            mail,
                            checks,
                            pager,
                            command,
                            {"fam.Enabled = 0", "chkDefaultCmd = 1"},
                            rest,
                            end})},
      {Type::Pop3, Joined<std::string>({point, Read("MonitorExt_PopAccount", "txtPop3Account", "A"),
                                        Read("MonitorExt_PopPass", "txtPop3Password", " W "), times, mail,
                                        pager, command, rest, checks, pagerType, end})},
      {Type::Smtp, Joined<std::string>({point, Read("MonitorExt_From", "txtSmtpFrom", "F"),
                                        Read("MonitorExt_To", "txtSmtpTo", "T"), times, mail, checks, pager,
                                        command, rest, pagerType, end})},
  };
  for (const auto& [type, expected] : rows) {
    SCOPED_TRACE(TypeName(type));
    tests::FakeForm form;
    tests::EngineMonitor monitor(form, FullName(TypeName(type), "shop"), MailMonitor);
    RefreshData(type, form, monitor.Item(), Gateway);
    EXPECT_EQ(form.record, expected);
  }
}

TEST(SettingsTransfer, OnlyTheBareNameIsTheDefaultCommand) {
  for (const auto& [command, isDefault] : Rows<const char*, bool>{{"WebBounce.exe", true},
                                                                  {"webbounce.exe", true},
                                                                  {"sub\\WebBounce.exe", false},
                                                                  {" WebBounce.exe", false},
                                                                  {"", false}}) {
    SCOPED_TRACE(command);
    tests::FakeForm form;
    form.checked[chkDefaultCmd] = !isDefault;
    tests::EngineMonitor monitor(form, "WebMonitor Of shop", {{"Monitor_Command", command}});
    RefreshData(Type::Web, form, monitor.Item(), Gateway);
    EXPECT_EQ(form.checked[chkDefaultCmd], isDefault);
    EXPECT_EQ(
        std::count(form.record.begin(), form.record.end(), isDefault ? "fam.Enabled = 0" : "fam.Enabled = 1"),
        1);
  }
}

TEST(SettingsTransfer, WhatWasSavedComesBack) {
  for (const auto type : {Type::Web, Type::Pop3, Type::Smtp}) {
    SCOPED_TRACE(TypeName(type));
    auto form = FilledForm();
    form.selected[optFlag] = 2;
    tests::EngineMonitor monitor(form, FullName(TypeName(type), "shop"), {});
    SaveData(type, form, monitor.Item(), Gateway);
    tests::FakeForm shown;
    RefreshData(type, shown, monitor.Item(), Gateway);
    for (const auto& attribute : Attributes) {
      if (!attribute.types.For(type) || !attribute.field) continue;
      EXPECT_EQ(shown.text[*attribute.field], form.text[*attribute.field]) << attribute.key;
    }
    EXPECT_EQ(shown.selected[optFlag], type == Type::Web ? 2 : -1);
    EXPECT_TRUE(shown.checked[chkByPager]);
  }
}

TEST(SettingsTransfer, AFailedCallEndsTheTransfer) {
  auto form = FilledForm();
  tests::EngineMonitor monitor(form, "WebMonitor Of shop", {});
  const EngineError gone(EngineErrorCode::Gone, "no engine");
  monitor.engine.FailAlways("SetAttr", gone);
  EXPECT_THROW(SaveData(Type::Web, form, monitor.Item(), Gateway), EngineError);
  EXPECT_EQ(form.record.size(), 1u);

  form.record.clear();
  monitor.engine.FailAlways("GetAttr", gone);
  EXPECT_THROW(RefreshData(Type::Web, form, monitor.Item(), Gateway), EngineError);
  EXPECT_EQ(form.record, Record{R"(GetAttr("Monitor_Parameter"))"});
}

/// The keys of `type` for which `moved` holds.
template <class Moved>
std::set<std::string_view> KeysOf(Type type, Moved moved) {
  std::set<std::string_view> keys;
  for (const auto& attribute : Attributes)
    if (attribute.types.For(type) && moved(attribute)) keys.insert(attribute.key);
  return keys;
}

TEST(SettingsTransfer, PagesAndWizardsMoveTheAttributesOfTheirType) {
  namespace keys = console::engine::keys;
  for (const auto type : {Type::Web, Type::Pop3, Type::Smtp}) {
    SCOPED_TRACE(TypeName(type));
    auto form = FilledForm();
    tests::EngineMonitor monitor(form, FullName(TypeName(type), "shop"), {});
    SaveData(type, form, monitor.Item(), Gateway);
    auto saved = KeysOf(type, [](auto&) { return true; });
    saved.erase(keys::Status), saved.erase(keys::Result);
    std::set<std::string_view> stored;
    for (const auto& [key, value] : monitor.Stored())
      stored.insert(key);
    EXPECT_EQ(stored, saved);

    std::set<std::string_view> written = {keys::LogFile};
    WriteNewMonitor(type, form, Gateway, [&](auto key, auto) { written.insert(key); });
    EXPECT_EQ(written, KeysOf(type, [](auto& attribute) { return attribute.wizard; }));
  }
}

TEST(SettingsTransfer, WizardsWriteInTheirOrder) {
  const Record pager = {"Monitor_Notify Mode=TEL://", "Monitor_Notify Pager=1234", "Monitor_Notify Msg=down"};
  const Rows<Type, Record> rows = {
      {Type::Web, {"Monitor_Parameter= point ", "MonitorExt_SuccessFlag=SIZE:120"}},
      {Type::Pop3,
       {"Monitor_Parameter= point ", "MonitorExt_PopAccount= account ", "MonitorExt_PopPass= pass "}},
      {Type::Smtp, {"Monitor_Parameter= point ", "MonitorExt_From=from@", "MonitorExt_To=to@"}},
  };
  for (const auto& [type, first] : rows) {
    SCOPED_TRACE(TypeName(type));
    auto form = FilledForm();
    form.checked[chkByPager] = false;  // a wizard has no such box
    Record written;
    WriteNewMonitor(type, form, Gateway, [&](auto key, auto value) {
      written.push_back(std::string(key) + '=' + std::string(value));
    });
    EXPECT_EQ(written, Joined<std::string>({first, pager}));
    EXPECT_EQ(form.record, Record());
  }
}

TEST(SettingsTransfer, AnEmptyAddresseeIsProposed) {
  for (const auto& [point, to, toAfter] : Rows<const char*, const char*, const char*>{
           {" mail ", "", "@ mail "}, {"", "", "@"}, {"mail", " ", " "}, {"mail", "a", "a"}}) {
    tests::FakeForm form;
    form.text = {{txtMonitorPoint, point}, {txtSmtpTo, to}};
    ProposeAddressee(form);
    EXPECT_EQ(form.text[txtSmtpTo], toAfter);
  }
}

}  // namespace
}  // namespace norvane::settings
