#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

#include "tests/pages/PageTest.h"

namespace norvane::tests {
namespace {

class ApplyTest : public PageTest {
 protected:
  [[nodiscard]] std::string Stored(const char* key) {
    return engine.At(bas.CurrentMonitor->Name()).attributes[key];
  }
  [[nodiscard]] std::string TabTip() const {
    return Control<QTabWidget>("SSTab1").tabToolTip(1).toStdString();
  }
  [[nodiscard]] std::string ApplyTip() const { return Control("cmdApply").toolTip().toStdString(); }
};

TEST_F(ApplyTest, KeepsANotificationThatItHasNoFieldsFor) {
  constexpr const char* Unknown = "https://sms.example.org/Send?text=%s&to=%s<b>";
  for (const auto& type : AllTypes) {
    SCOPED_TRACE(type.name);
    NewPage(type);
    const PageTest::Attributes stored = {{"Monitor_Notify Mode", Unknown},
                                         {"Monitor_Notify Pager", "5551234"},
                                         {"Monitor_Notify Msg", "down"}};
    Load(stored);
    EXPECT_NE(TabTip().find("Send?text=%s&amp;to=%s&lt;b&gt;"), std::string::npos) << TabTip();
    for (const char* button : {"cmdApply", "cmdTest", "cmdRestore"}) {
      SetText("txtLogFile", "other.log");
      if (button == std::string("cmdTest")) dialogs.Announce();
      Click(Control(button));
      for (const auto& [key, value] : stored)
        EXPECT_EQ(Stored(key.c_str()), value) << button;
    }
    (void)dialogs.TakeBoxes();
    auto& box = Control<QCheckBox>("chkByPager");
    box.setChecked(true);
    Click(Control("cmdRestore"));
    EXPECT_NE(TabTip(), "");
    EXPECT_FALSE(box.isChecked());
    box.setChecked(true);
    box.setChecked(false);
    EXPECT_EQ(TabTip(), "");
    Click(Control("cmdApply"));
    EXPECT_EQ(Stored("Monitor_Notify Mode"), "") << "none was chosen";
    Load(stored);
    Load();
    EXPECT_EQ(TabTip(), "");
    SetText("txtLogFile", "other.log");
    Click(Control("cmdApply"));
    EXPECT_EQ(Stored("Monitor_Notify Mode"), "") << "another monitor's is not stored";
  }
}

TEST_F(ApplyTest, KeepsBytesThatAreNoText) {
  NewPage(settings::Type::Web);
  const std::string latin = "http://www.example.com/caf\xe9";
  const std::string marked = "\xef\xbb\xbf" "down";  // begins with a byte order mark
  Load({{"Monitor_Parameter", latin}, {"MonitorExt_SuccessFlag", "STR:" + marked}});
  SetText("txtLogFile", "other.log");
  Click(Control("cmdApply"));
  EXPECT_EQ(Stored("Monitor_LogFile"), "other.log");
  EXPECT_EQ(Stored("Monitor_Parameter"), latin);
  EXPECT_EQ(Stored("MonitorExt_SuccessFlag"), "STR:" + marked);
  SetText("txtMonitorPoint", "http://www.example.com/");
  Click(Control("cmdApply"));
  EXPECT_EQ(Stored("Monitor_Parameter"), "http://www.example.com/");
}

TEST_F(ApplyTest, SaysThatTheDataFileIsOlderThanWhatRestoreShows) {
  NewPage(settings::Type::Web);
  for (const char* failing : {"Save", "SetAttr"}) {
    Load();
    SetText("txtLogFile", "other.log");
    engine.FailOnce(failing, {console::engine::EngineErrorCode::Failed, "disk <full>"});
    dialogs.Announce();
    Click(Control("cmdApply"));
    (void)dialogs.TakeBoxes();
    Click(Control("cmdRestore"));
    EXPECT_FALSE(Control("cmdApply").isEnabled());
    EXPECT_NE(ApplyTip().find("disk &lt;full&gt;"), std::string::npos) << ApplyTip();
    SetText("txtLogFile", "third.log");
    Click(Control("cmdApply"));
    EXPECT_EQ(ApplyTip(), "");
  }
}

TEST_F(ApplyTest, LeavesTheFocusOnThePage) {
  for (const auto& type : AllTypes) {
    SCOPED_TRACE(type.name);
    NewPage(type);
    window.activateWindow();
    Load();
    auto& field = Control<QLineEdit>("txtInterval");
    field.setFocus();
    field.setText(QStringLiteral("70"));
    Click(Control("cmdApply"));
    EXPECT_TRUE(Control("cmdApply").isEnabled() || field.hasFocus());
    field.setText(QStringLiteral("80"));
    QLineEdit outside(&window);
    outside.show();
    outside.setFocus();
    ShowTabOf(Control("txtLogFile"));  // which hides the field
    Control("cmdApply").setFocus();
    QTest::keyClick(&Control("cmdApply"), Qt::Key_Space);
    EXPECT_TRUE(Control("cmdTest").hasFocus());
  }
}

TEST_F(ApplyTest, ClearingAnEmptySelectionIsNoChange) {
  bas.PagerTypes = {"0=Pager", "1=Call by modem"};
  NewPage(settings::Type::Pop3);
  auto& list = Control<QComboBox>("cmbPagerType");
  int changes = 0;
  QObject::connect(&list, &QComboBox::currentIndexChanged, [&changes] { ++changes; });
  Load({{"Monitor_Notify Mode", InternetCall("7")}});
  EXPECT_EQ(changes, 0);
  list.setCurrentIndex(1);
  Load({{"Monitor_Notify Mode", InternetCall("7")}});
  Load({{"Monitor_Notify Mode", InternetCall("7")}});
  EXPECT_EQ(changes, 2);
}

}  // namespace
}  // namespace norvane::tests
