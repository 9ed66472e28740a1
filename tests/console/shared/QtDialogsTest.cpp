#include "console/shared/QtDialogs.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <functional>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using console::shared::Box;
using console::shared::BoxButtons;
using console::shared::BoxChoice;
using console::shared::BoxIcon;
using console::shared::QtDialogs;

/// Has `act` meet the next modal dialog.
template <class Dialog>
void Meet(const std::function<void(Dialog&)>& act) {
  QTimer::singleShot(0, [act] { act(dynamic_cast<Dialog&>(*QApplication::activeModalWidget())); });
}

TEST(QtDialogs, ShowsABoxToTheLetter) {
  Meet<QMessageBox>([](QMessageBox& box) {
    EXPECT_EQ(box.windowTitle(), QStringLiteral("Attention"));
    EXPECT_EQ(box.text(), QStringLiteral("<b>[x]</b>  &y"));
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    EXPECT_EQ(box.icon(), QMessageBox::Critical);
    EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
    QTest::keyClick(&box, Qt::Key_Return);
  });
  const Box box{.title = "Attention", .text = "<b>[x]</b>  &y", .icon = BoxIcon::Critical};
  EXPECT_EQ(QtDialogs().Show(box), BoxChoice::Ok);
}

TEST(QtDialogs, AnswersOfABox) {
  struct Row {
    const char* name;
    BoxButtons buttons;
    std::function<void(QMessageBox&)> act;
    BoxChoice choice;
  };
  const auto escape = [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); };
  const auto shut = [](QMessageBox& box) { box.close(); };
  const Row rows[] = {
      {"yes", BoxButtons::YesNo, [](auto& box) { box.button(QMessageBox::Yes)->click(); }, BoxChoice::Yes},
      {"no", BoxButtons::YesNo, [](auto& box) { box.button(QMessageBox::No)->click(); }, BoxChoice::No},
      {"esc counts as no", BoxButtons::YesNo, escape, BoxChoice::No},
      {"closing counts as no", BoxButtons::YesNo, shut, BoxChoice::No},
      {"esc counts as ok", BoxButtons::Ok, escape, BoxChoice::Ok},
      {"closing counts as ok", BoxButtons::Ok, shut, BoxChoice::Ok},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Meet<QMessageBox>(row.act);
    EXPECT_EQ(QtDialogs().Show({.title = "", .text = "Well?", .buttons = row.buttons}), row.choice);
  }
}

TEST(QtDialogs, FileDialogHasStartFolderAndFilter) {
  const loopback::TempFolder folder;
  QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  Meet<QFileDialog>([&](QFileDialog& dialog) {
    EXPECT_EQ(dialog.directory().path().toStdString(), folder.Path());
    EXPECT_EQ(dialog.nameFilters(), (QStringList{QStringLiteral("Execute file(*.exe;*.bat) (*.exe *.bat)"),
                                                 QStringLiteral("All file(*.*) (*)")}));
    EXPECT_TRUE(dialog.testOption(QFileDialog::HideNameFilterDetails)) << "the names have them already";
    dialog.reject();
  });
  EXPECT_EQ(QtDialogs().OpenFile(folder.Path(), "Execute file(*.exe;*.bat)|*.exe;*.bat; |All file(*.*)|*.*;"),
            std::nullopt);
}

TEST(QtDialogs, SaysThatNoProgramOpensAFile) {
  const loopback::TempFolder folder;
  const auto opener = WriteFile(folder / "xdg-open", "#!/bin/sh\nexit ${1##*/}\n");
  std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
  const auto path = qgetenv("PATH");
  qputenv("PATH", QByteArray::fromStdString(folder.Path()) + ':' + path);
  const struct {
    std::string file;
    bool isOpened;
  } rows[] = {
      {folder / "help.htm", false}, {"", false},           {"c:\\help.htm", false},
      {"http://a/0", true},         {"http://a/3", false}, {"http://a/4", false},
  };
  for (const auto& [file, isOpened] : rows) {
    SCOPED_TRACE(file);
    bool failed = false;
    QtDialogs().Open(file, [&failed] { failed = true; });
    const auto running = [] { return !qApp->findChildren<QProcess*>().isEmpty(); };
    EXPECT_TRUE(QTest::qWaitFor([&] { return !running(); }));
    EXPECT_EQ(failed, !isOpened);
  }
  qputenv("PATH", path);
}

TEST(QtDialogs, ALongNameIsNotCut) {
  const Box longBox{.title = "Error", .text = "Can not delete " + std::string(1024, 'x')};
  Meet<QMessageBox>([](QMessageBox& box) {
    auto& label = *box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    EXPECT_GE(label.width(), label.minimumSizeHint().width());
    EXPECT_LE(box.width(), box.screen()->availableGeometry().width());
    box.accept();
  });
  EXPECT_EQ(QtDialogs().Show(longBox), BoxChoice::Ok);
}

TEST(QtDialogs, ATextHigherThanTheScreenScrolls) {
  Meet<QMessageBox>([](QMessageBox& box) {
    const auto& label = *box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    const auto& button = *box.button(QMessageBox::Ok);
    QTest::qWait(0);  // for its final size
    EXPECT_LT(box.height(), box.screen()->availableGeometry().height());
    EXPECT_GT(label.height(), box.height());
    EXPECT_TRUE(box.rect().contains({button.mapTo(&box, QPoint()), button.size()}));
    box.accept();
  });
  std::string text;
  for (int line = 1; line < 100; ++line)
    text += "Monitor_Parameter: no answer from the engine in time\n";
  EXPECT_EQ(QtDialogs().Show({.title = "Error", .text = text}), BoxChoice::Ok);
}

}  // namespace
}  // namespace norvane::tests
