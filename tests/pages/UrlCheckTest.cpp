#include "console/shared/UrlCheck.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QTest>
#include <optional>
#include <set>

#include "console/shared/FrmURLShow.h"
#include "console/shared/MainBas.h"
#include "console/shared/PageView.h"
#include "loopback/TempFolder.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using namespace loopback;

using namespace std::chrono_literals;
using console::shared::Box;
using console::shared::BoxIcon;
using console::shared::UrlCheck;

const std::string Server = "http://www.example.com";

Box ErrorBox(const char* text) {
  return {.title = "Error", .text = text, .icon = BoxIcon::Information};
}

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i)
    all += text;
  return all;
}

/// A form with the controls of a check.
class Form : public QDialog {
 public:
  Form(console::shared::MainBas& bas, UrlCheck::Flag flag, std::chrono::milliseconds limit)
      : check(bas, {*this, txtMonitorPoint, Command1, lbl, optFlag_0, txtBySize}, flag, limit) {
    lbl.hide();
    txtBySize.move(0, 40);
    optFlag_1.setChecked(true);
    QObject::connect(&Command1, &QPushButton::clicked, &check, &UrlCheck::Command1_Click);
    show();
  }
  /// "caption, field, label" as the user sees them.
  [[nodiscard]] std::string State() const {
    return Command1.text().toStdString() + (txtMonitorPoint.isEnabled() ? ", open, " : ", shut, ") +
           (lbl.isHidden() ? "hidden" : lbl.text().toStdString());
  }

  QLineEdit txtMonitorPoint{this};
  QLineEdit txtBySize{QStringLiteral("as it was"), this};
  QPushButton Command1{QStringLiteral("Check URL"), this};
  QLabel lbl{QStringLiteral("Wait for response ... ... "), this};
  QRadioButton optFlag_0{this};
  QRadioButton optFlag_1{this};
  UrlCheck check;
};

class UrlCheckTest : public ::testing::Test {
 protected:
  void Open(const std::string& config = "", UrlCheck::Flag flag = UrlCheck::Flag::AsSelected,
            std::chrono::milliseconds limit = 30s) {
    form.reset();
    WriteFile(folder.Path() + "/config.ini", config);
    bas.emplace(engine, dialogs, folder.Path(), [] {});
    form = std::make_unique<Form>(*bas, flag, limit);
  }
  void Check(const std::string& url) {
    form->txtMonitorPoint.setText(QString::fromStdString(url));
    QTest::mouseClick(&form->Command1, Qt::LeftButton);
  }
  /// Waits until the viewer opens.
  [[nodiscard]] console::shared::FrmURLShow* Viewer() {
    console::shared::FrmURLShow* viewer = nullptr;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return (viewer = form->findChild<console::shared::FrmURLShow*>()) != nullptr; }));
    return viewer;
  }
  void Close(console::shared::FrmURLShow* viewer) {
    QTest::mouseClick(viewer->findChild<QPushButton*>(QStringLiteral("cmdClose")), Qt::LeftButton);
    EXPECT_TRUE(QTest::qWaitFor([&] { return form->findChild<console::shared::FrmURLShow*>() == nullptr; }));
  }
  [[nodiscard]] bool WaitForState(const std::string& state) {
    return QTest::qWaitFor([&] { return form->State() == state; });
  }

  TempFolder folder;
  FakeEngine engine;
  FakeDialogs dialogs;
  std::optional<console::shared::MainBas> bas;
  std::unique_ptr<Form> form;
};

TEST_F(UrlCheckTest, ThePageIsShownAndItsSizeTaken) {
  const char* Gbk = "[text]\ncharset=gbk\n";
  const struct {
    const char* name;
    const char* config;
    UrlCheck::Flag flag;
    bool bySize;
    FakePage page;
    std::string shown;
    std::string size;
  } rows[] = {
      {"by size", "", UrlCheck::Flag::AsSelected, true, FakePage{"abc"}, "abc", "3"},
      {"by string", "", UrlCheck::Flag::AsSelected, false, FakePage{"abc"}, "abc", "as it was"},
      {"by string, in the wizard", "", UrlCheck::Flag::SelectBySize, false, FakePage{"abc"}, "abc", "3"},
      {"line ends", "", UrlCheck::Flag::AsSelected, true, FakePage{"a\r\nb\n"}, "a\nb\n", "5"},
      {"error page", "", UrlCheck::Flag::AsSelected, true, FakePage{"<b>gone</b>"}, "<b>gone</b>", "11"},
      {"double bytes", Gbk, UrlCheck::Flag::AsSelected, true,
       FakePage{"\xd6\xd0\xb9\xfa", "text/html; charset=gbk"}, "\xe4\xb8\xad\xe5\x9b\xbd", "4"},
      {"double bytes, sent as UTF-8", Gbk, UrlCheck::Flag::AsSelected, true,
       FakePage{"\xe4\xb8\xad\xe5\x9b\xbd!"}, "\xe4\xb8\xad\xe5\x9b\xbd!", "5"},
      {"no double bytes in this set", "", UrlCheck::Flag::AsSelected, true,
       FakePage{"\xe4\xb8\xad\xe5\x9b\xbd"}, "\xe4\xb8\xad\xe5\x9b\xbd", "2"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Open(row.config, row.flag);
    form->optFlag_0.setChecked(row.bySize);
    engine.Pages()[Server + "/page"] = row.page;
    Check(Server + "/page");
    auto* viewer = Viewer();
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(form->txtBySize.text().toStdString(), row.size);
    EXPECT_EQ(form->optFlag_0.isChecked(), row.bySize || row.flag == UrlCheck::Flag::SelectBySize);
    EXPECT_TRUE(viewer->isModal());
    EXPECT_EQ(viewer->windowTitle().toStdString(), "URL=" + Server + "/page");
    const auto& data = *viewer->findChild<QPlainTextEdit*>(QStringLiteral("txtData"));
    EXPECT_EQ(data.toPlainText().toStdString(), row.shown);
    EXPECT_TRUE(data.isReadOnly());
    EXPECT_EQ(form->State(), "Check URL, shut, hidden");
    EXPECT_FALSE(dialogs.hourglass);
    Close(viewer);
    EXPECT_EQ(form->State(), "Check URL, open, hidden");
  }
}

TEST_F(UrlCheckTest, LargePagesAreShownInPart) {
  using console::shared::PageView;
  constexpr std::size_t Size = 8 << 20;
  const struct {
    const char* name;
    std::string page;
    const char* beginning;
    const char* all;
  } rows[] = {
      {"short lines", std::string(Size, '\n'), "1,000 of 8,388,608 characters; scroll down for more",
       "Only the first 20,000 of 8,388,608 characters can be shown"},
      {"one line", std::string(Size, 'a'), "65,536 of 8,388,608 characters; scroll down for more",
       "Only the first 1,048,576 of 8,388,608 characters can be shown"},
      {"in the limits", std::string(66'000, 'a'), "65,536 of 66,000 characters; scroll down for more", ""},
      {"pairs", "a" + Repeated("\U0001f600", 40'000), "65,537 of 80,001 characters; scroll down for more",
       ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    engine.Pages()[Server + "/page"] = {row.page};
    Open();
    QElapsedTimer time;
    time.start();
    Check(Server + "/page");
    auto* viewer = Viewer();
    ASSERT_NE(viewer, nullptr);
    const auto& part = *viewer->findChild<QLabel*>(QStringLiteral("lblPart"));
    EXPECT_EQ(part.text().toStdString(), row.beginning);
    auto& data = *viewer->findChild<PageView*>();
    for (int scroll = 0; scroll < 40; ++scroll) {
      EXPECT_FALSE(viewer->grab().isNull());
      QTest::keyClick(&data, Qt::Key_End);
      data.horizontalScrollBar()->triggerAction(QScrollBar::SliderToMaximum);
    }
    EXPECT_EQ(part.text().toStdString(), row.all);
    EXPECT_LE(data.blockCount(), PageView::MaxLines + 1);
    EXPECT_FALSE(time.hasExpired(30'000));
    Close(viewer);
  }
}

TEST_F(UrlCheckTest, CopyingGivesTheCharactersOfThePage) {
  const std::string page = "All\u00a0is\r\nwell\r\u2028\u2029\ufdd0\t\U0001f600!";
  engine.Pages()[Server + "/page"] = {page};
  Open();
  Check(Server + "/page");
  auto* viewer = Viewer();
  ASSERT_NE(viewer, nullptr);
  auto& data = *viewer->findChild<QPlainTextEdit*>();
  QTest::keyClick(&data, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(&data, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text().toStdString(),
            "All\u00a0is\nwell\r\u2028\u2029\ufdd0\t\U0001f600!");
  Close(viewer);
}

TEST_F(UrlCheckTest, AFailedCheckShowsItsReason) {
  engine.Pages()[Server + "/silent"] = {.body = "", .isComplete = false};
  engine.Pages()[Server + "/empty"] = {""};
  const struct {
    std::string url;
    const char* text;
  } rows[] = {
      {Server + "/silent", "connect to the URL timeout"},
      {Server + "/empty", "return null, maybe invalid URL"},
      {Server + "/none", "Can not Check URL"},
  };
  for (const auto limit : {300ms, 1000ms}) {  // before and while "Cancel Check" stands there
    Open("", UrlCheck::Flag::SelectBySize, limit);
    for (const auto& row : rows) {
      SCOPED_TRACE(row.url);
      dialogs.Announce();
      Check(row.url);
      EXPECT_TRUE(WaitForState("Check URL, open, hidden"));
      EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{ErrorBox(row.text)});
      EXPECT_FALSE(dialogs.hourglass);
      EXPECT_EQ(form->txtBySize.text().toStdString(), "as it was");
      EXPECT_TRUE(form->optFlag_1.isChecked());
    }
  }
}

TEST_F(UrlCheckTest, NothingHappensWithoutAUrl) {
  Open();
  for (const char* url : {"", "   "}) {
    Check(url);
    EXPECT_EQ(form->State(), "Check URL, open, hidden");
    EXPECT_FALSE(dialogs.hourglass);
  }
}

TEST_F(UrlCheckTest, WhileItRunsTheUserCanOnlyCancel) {
  engine.Pages()[Server + "/silent"] = {.body = "", .isComplete = false};
  Open();
  Check(Server + "/silent");
  EXPECT_EQ(form->State(), "Check URL, shut, Wait for response ... ... ");
  EXPECT_TRUE(dialogs.hourglass);
  EXPECT_TRUE(WaitForState("Cancel Check, shut, "));
  EXPECT_FALSE(dialogs.hourglass);
  EXPECT_TRUE(WaitForState("Cancel Check, shut, Waiting for response..."));
  EXPECT_TRUE(WaitForState("Cancel Check, shut, "));

  QTest::mouseClick(&form->optFlag_0, Qt::LeftButton);
  QTest::keyClicks(&form->txtBySize, QStringLiteral("lost"));
  QTest::keyClick(&form->Command1, Qt::Key_Escape);
  form->close();
  EXPECT_TRUE(form->isVisible());
  EXPECT_TRUE(form->optFlag_1.isChecked());
  EXPECT_EQ(form->txtBySize.text().toStdString(), "as it was");

  QDialog box(form.get());
  QPushButton button(&box);
  bool pressed = false;
  QObject::connect(&button, &QPushButton::clicked, [&pressed] { pressed = true; });
  box.setModal(true);
  box.show();
  QTest::mouseClick(&button, Qt::LeftButton);
  EXPECT_TRUE(pressed);
  box.hide();

  dialogs.Announce();
  QTest::mouseClick(&form->Command1, Qt::LeftButton);
  EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{ErrorBox("return null, maybe invalid URL")});
  EXPECT_EQ(form->State(), "Check URL, open, hidden");
  QTest::keyClicks(&form->txtBySize, QStringLiteral("!"));
  EXPECT_EQ(form->txtBySize.text().toStdString(), "as it was!");
}

TEST_F(UrlCheckTest, ACancelledCheckShowsThePartReceived) {
  engine.Pages()[Server + "/part"] = {.body = "abcd", .isComplete = false};
  Open();
  form->optFlag_0.setChecked(true);
  Check(Server + "/part");
  EXPECT_TRUE(WaitForState("Cancel Check, shut, "));
  QTest::mouseClick(&form->Command1, Qt::LeftButton);
  auto* viewer = Viewer();
  ASSERT_NE(viewer, nullptr);
  EXPECT_EQ(form->txtBySize.text().toStdString(), "4");
  Close(viewer);
}

TEST_F(UrlCheckTest, AFormMayGoWhileItsCheckRunsOrItsViewerIsOpen) {
  engine.Pages()[Server + "/silent"] = {.body = "", .isComplete = false};
  engine.Pages()[Server + "/page"] = {"abc"};
  Open();
  Check(Server + "/silent");
  form.reset();
  EXPECT_FALSE(dialogs.hourglass);
  Open();
  Check(Server + "/page");
  ASSERT_NE(Viewer(), nullptr);
  form.reset();
}

}  // namespace
}  // namespace norvane::tests
