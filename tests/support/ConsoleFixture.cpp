#include "tests/support/ConsoleFixture.h"

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>

namespace norvane::tests {

namespace {
/// An engine that takes its time lets events run before the splash stands.
void CloseSplashOnceItStands() {
  if (QWidget* splash = QApplication::activeModalWidget()) {
    QTest::keyClick(splash, Qt::Key_Space);
  } else {
    QTimer::singleShot(1, &CloseSplashOnceItStands);
  }
}
}  // namespace

void LoadForm(console::FrmStart& form) {
  QTimer::singleShot(0, &CloseSplashOnceItStands);
  form.Form_Load();
}

void ConsoleFixture::Start(const std::function<void(console::FrmStart&)>& before) {
  if (before) before(*form);
  LoadForm(*form);
}

void ConsoleFixture::StartWith(const std::vector<std::pair<std::string, std::string>>& monitors) {
  for (const auto& [name, status] : monitors)
    engine.Place(name, {{"Status", status}});
  Start();
  (void)engine.TakeCalls();
}

QModelIndex ConsoleFixture::RootIndex() const {
  return Control<QTreeView>("TvCtrl").model()->index(0, 0);
}

QModelIndex ConsoleFixture::NodeIndex(const std::string& text) const {
  const auto& model = *Control<QTreeView>("TvCtrl").model();
  for (int row = 0; row < model.rowCount(RootIndex()); ++row) {
    const auto index = model.index(row, 0, RootIndex());
    if (index.data().toString().toStdString() == text) return index;
  }
  throw std::logic_error("no node of this text: " + text);
}

std::vector<std::string> ConsoleFixture::TakeConsoleCalls() {
  auto calls = engine.TakeCalls();
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("GetAttr(\"Monitor"); });
  return calls;
}

std::string ConsoleFixture::SelectedText() const {
  return Control<QTreeView>("TvCtrl").currentIndex().data().toString().toStdString();
}

void ConsoleFixture::ClickNode(const std::string& text) {
  auto& tree = Control<QTreeView>("TvCtrl");
  const auto index = text.empty() ? RootIndex() : NodeIndex(text);
  tree.scrollTo(index);
  QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, tree.visualRect(index).center());
}

void ConsoleFixture::PressButton(const char* key) {
  auto& toolBar = Control<QToolBar>("ToolBar");
  auto& action = Control<QAction>((std::string("ToolBar_") + key).c_str());
  QTest::mouseClick(toolBar.widgetForAction(&action), Qt::LeftButton);
}

std::string ConsoleFixture::Cell(int row, int column) const {
  return Control<QTreeView>("LstV").model()->index(row, column).data().toString().toStdString();
}

std::vector<std::string> ConsoleFixture::Column(int column) const {
  std::vector<std::string> texts;
  for (int row = 0; row < Control<QTreeView>("LstV").model()->rowCount(); ++row)
    texts.push_back(Cell(row, column));
  return texts;
}

std::string ConsoleFixture::EnabledCommands() const {
  std::string enabled = Control<QMenu>("mnuControl").isEnabled() ? "mnuControl " : "";
  for (const char* name : {"ToolBar_delete", "ToolBar_start", "ToolBar_stop", "ToolBar_property", "mnuDelete",
                           "mnuStart", "mnuStop"}) {
    const auto& action = Control<QAction>(name);
    const auto shown = name[0] == 'T' ? action.text().toStdString() : std::string(name);
    if (action.isEnabled()) enabled += shown + " ";
  }
  if (!enabled.empty()) enabled.pop_back();
  return enabled;
}

}  // namespace norvane::tests
