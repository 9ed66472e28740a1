#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QTabWidget>

#include "tests/pages/PageTest.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using settings::Type;

const EngineError Broken(EngineErrorCode::Failed, "the disk is full");

class PageLoadAndApplyTest : public PageTest {};

TEST_F(PageLoadAndApplyTest, ApplyStoresTheFieldsAndSaves) {
  struct Row {
    Type type;
    const char* field;
    const char* key;
  };
  for (const auto& row : {Row{Type::Web, "txtBySize", "MonitorExt_SuccessFlag"},
                          Row{Type::Pop3, "txtPop3Password", "MonitorExt_PopPass"},
                          Row{Type::Smtp, "txtSmtpFrom", "MonitorExt_From"}}) {
    SCOPED_TRACE(row.field);
    NewPage(row.type);
    Load({{"MonitorExt_SuccessFlag", "SIZE:7"}});
    SetText(row.field, " a@\xc3\xa9 ");
    Click("cmdApply");
    const std::string prefix = row.type == Type::Web ? "SIZE:" : "";
    EXPECT_EQ(Stored().at(row.key), prefix + " a@\xc3\xa9 ");
    EXPECT_EQ(engine.TakeCalls().back(), "Save(\"" + bas.DataFile() + "\")");
    EXPECT_FALSE(IsOpen("cmdApply"));
  }
}

TEST_F(PageLoadAndApplyTest, ABrokenRuleLeavesEverythingAsItIs) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Load();
    SetText("txtInterval", "2x");
    SetText("txtLogFile", "other.log");
    ShowTabOf(Control("txtLogFile"));
    Control("txtLogFile").setFocus();
    dialogs.Announce();
    Click("cmdApply");
    EXPECT_EQ(dialogs.TakeBoxes(), std::vector{ErrorBox("invalid monitor interval")});
    EXPECT_TRUE(engine.TakeCalls().empty());
    EXPECT_TRUE(IsOpen("cmdApply"));
    EXPECT_EQ(Control<QTabWidget>("SSTab1").currentIndex(), 2) << "the tab is not switched";
    EXPECT_TRUE(Control("cmdApply").hasFocus()) << "no field gets the focus";
    EXPECT_EQ(Text("txtInterval"), "2x");
  }
}

TEST_F(PageLoadAndApplyTest, RestoreDropsTheEdits) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Load({{"Monitor_LogFile", "kept.log"}, {"Monitor_Notify Mode", "TEL://"}});
    SetText("txtLogFile", "other.log");
    Click("chkByEmail");
    Click("cmdRestore");
    EXPECT_EQ(Text("txtLogFile"), "kept.log");
    EXPECT_TRUE(IsChecked("chkByPager"));
    EXPECT_FALSE(IsOpen("cmdApply"));
  }
}

TEST_F(PageLoadAndApplyTest, AFailureOfTheEngineIsToldOnce) {
  struct Row {
    const char* operation;
    const char* button;
    bool stays;
  };
  for (const auto type : AllTypes)
    for (const auto& row : {Row{"SetAttr", "cmdApply", true}, Row{"Save", "cmdApply", true},
                            Row{"GetAttr", "cmdRestore", false}}) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + row.operation);
      NewPage(type);
      Load();
      SetText("txtLogFile", "other.log");
      engine.FailOnce(row.operation, Broken);
      dialogs.Announce();
      Click(row.button);
      EXPECT_EQ(dialogs.TakeBoxes(), std::vector{ErrorBox("the disk is full")});
      EXPECT_EQ(TakeCallsOf(row.operation).size(), 1u) << "the rest is dropped";
      EXPECT_TRUE(IsOpen("cmdApply"));
      EXPECT_EQ(page->isVisible(), row.stays);
    }
}

TEST_F(PageLoadAndApplyTest, WithoutAStoreNothingCountsAsSaved) {
  NewPage(Type::Web);
  Load();
  bas.Store.reset();
  SetText("txtLogFile", "other.log");
  dialogs.Announce();
  Click("cmdApply");
  EXPECT_EQ(dialogs.TakeBoxes().at(0).icon, BoxIcon::Critical);
  EXPECT_TRUE(IsOpen("cmdApply"));
}

TEST_F(PageLoadAndApplyTest, WhatThePreviousMonitorLeavesOnThePage) {
  bas.PagerTypes = {"a=Pager", "b=Phone"};
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Load({{"Monitor_Notify Mode", InternetCall("1")}});
    Load({{"Monitor_Notify Mode", "smtp://mailhost;copy@example.com"},
          {"Monitor_Notify Pager", "admin@example.com"},
          {"Monitor_Notify Msg", "down"}});
    EXPECT_EQ(Text("txtSmtpServer"), "MAILHOST");
    EXPECT_EQ(Text("txtPagerNumber"), "admin@example.com");
    EXPECT_EQ(Text("txtPagerMsg"), "down");
    EXPECT_TRUE(IsChecked("chkInetCall"));
    EXPECT_EQ(Control<QComboBox>("cmbPagerType").currentIndex(), 1);
    SetText("txtLogFile", "other.log");
    Click("cmdApply");
    EXPECT_EQ(Stored().at("Monitor_Notify Mode"), "SMTP://MAILHOST;" + bas.Gateway.NotifyCopyAddress);

    Load({{"Monitor_Notify Mode", "TEL://"}, {"Monitor_Notify Pager", "5551234"}});
    EXPECT_EQ(Text("txtEmailAddr"), "admin@example.com");
    EXPECT_EQ(Text("txtSubject"), "down");
    EXPECT_EQ(Text("txtSmtpServer"), "MAILHOST");
    EXPECT_EQ(Text("txtPagerNumber"), "5551234");
    EXPECT_FALSE(IsChecked("chkByEmail"));
    EXPECT_FALSE(IsChecked("chkInetCall"));
  }
}

TEST_F(PageLoadAndApplyTest, TheSuccessFlagIsCleared) {
  NewPage(Type::Web);
  struct Row {
    const char* flag;
    int option;
    const char* parameter;
  };
  for (const auto& row : {Row{"SIZE:7", 0, "7"}, Row{"STR:Hello", 1, "Hello"}, Row{"odd", -1, ""},
                          Row{"SUM:9", 2, "9"}, Row{"", -1, ""}, Row{"SIZE:8", 0, "8"}}) {
    SCOPED_TRACE(row.flag);
    Load({{"MonitorExt_SuccessFlag", row.flag}});
    int selected = -1;
    for (int option = 0; option < 3; ++option)
      if (IsChecked(("optFlag_" + std::to_string(option)).c_str())) selected = option;
    EXPECT_EQ(selected, row.option);
    EXPECT_EQ(Text("txtBySize"), row.parameter);
  }
  Click("optFlag_1");
  EXPECT_FALSE(IsChecked("optFlag_0"));
  Click("cmdApply");
  EXPECT_EQ(Stored().at("MonitorExt_SuccessFlag"), "STR:8");
}

TEST_F(PageLoadAndApplyTest, ThePasswordIsKeptAsTyped) {
  NewPage(Type::Pop3);
  Load({{"MonitorExt_PopPass", " secret "}});
  SetText("txtPop3Password", "");
  Click("cmdRestore");
  EXPECT_EQ(Text("txtPop3Password"), " secret ");
  SetText("txtPop3Password", "");
  Click("cmdApply");
  EXPECT_EQ(Stored().at("MonitorExt_PopPass"), "");
}

}  // namespace
}  // namespace norvane::tests
