#include "driver/ConsoleUser.h"

#include <QAction>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>

#include "console/FrmStart.h"
#include "support/FrmSplash.h"

namespace norvane::driver {

void LoadForm(console::FrmStart& form, const std::function<void(QWidget&)>& atSplash) {
  InForm<support::FrmSplash>([&form] { form.Form_Load(); },
                             [&atSplash](support::FrmSplash& splash) {
                               if (atSplash) atSplash(splash);
                               QTest::keyClick(&splash, Qt::Key_Space);
                             });
}

std::string ConsoleUser::Caption() const {
  return Window().windowTitle().toStdString();
}

void ConsoleUser::FollowChanges() {
  QCoreApplication::sendPostedEvents();
  auto& timer = Control<QTimer>("FollowTimer");
  if (timer.isActive()) QMetaObject::invokeMethod(&timer, "timeout");
}

QModelIndex ConsoleUser::RootIndex() const {
  return Control<QTreeView>("TvCtrl").model()->index(0, 0);
}

QModelIndex ConsoleUser::NodeIndex(const std::string& text) const {
  const auto& model = *Control<QTreeView>("TvCtrl").model();
  for (int row = 0; row < model.rowCount(RootIndex()); ++row) {
    const auto index = model.index(row, 0, RootIndex());
    if (index.data().toString().toStdString() == text) return index;
  }
  throw std::logic_error("no node of this text: " + text);
}

std::string ConsoleUser::SelectedText() const {
  return Control<QTreeView>("TvCtrl").currentIndex().data().toString().toStdString();
}

void ConsoleUser::ClickNode(const std::string& text) {
  auto& tree = Control<QTreeView>("TvCtrl");
  const auto index = text.empty() ? RootIndex() : NodeIndex(text);
  tree.scrollTo(index);
  QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, tree.visualRect(index).center());
}

void ConsoleUser::PressButton(const char* key) {
  auto& toolBar = Control<QToolBar>("ToolBar");
  auto& action = Control<QAction>((std::string("ToolBar_") + key).c_str());
  QTest::mouseClick(toolBar.widgetForAction(&action), Qt::LeftButton);
}

std::string ConsoleUser::Cell(int row, int column) const {
  return Control<QTreeView>("LstV").model()->index(row, column).data().toString().toStdString();
}

std::vector<std::string> ConsoleUser::Column(int column) const {
  std::vector<std::string> texts;
  for (int row = 0; row < Control<QTreeView>("LstV").model()->rowCount(); ++row)
    texts.push_back(Cell(row, column));
  return texts;
}

}  // namespace norvane::driver
