// Every form as somebody meets it who has no mouse or does not see.

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QKeySequence>
#include <QLabel>
#include <QMenuBar>
#include <QRadioButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QWindow>
#include <map>
#include <set>

#include "console/shared/FrmURLShow.h"
#include "platform/Registry.h"
#include "support/FrmSplash.h"
#include "support/frmAbout.h"
#include "tests/support/ConsoleFixture.h"
#include "wizards/FrmAddMonitor.h"
#include "wizards/FrmWizPop.h"
#include "wizards/FrmWizSmtp.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::tests {
namespace {

using Widgets = std::set<const QWidget*>;

std::string Describe(const QWidget* widget) {
  return widget == nullptr ? "nothing"
                           : widget->metaObject()->className() + (" " + widget->objectName().toStdString());
}

bool HasContent(QAccessible::Role role) {
  switch (role) {
    case QAccessible::Graphic:
    case QAccessible::Button:
    case QAccessible::CheckBox:
    case QAccessible::RadioButton:
    case QAccessible::ComboBox:
    case QAccessible::EditableText:
    case QAccessible::Tree:
    case QAccessible::ColumnHeader:
    case QAccessible::PageTab:
    case QAccessible::PageTabList:
    case QAccessible::ToolBar:
    case QAccessible::MenuItem:
    case QAccessible::Dialog:
    case QAccessible::Window:
      return true;
    default:
      return false;
  }
}

void ExpectNames(QAccessibleInterface* control, const std::string& path = "") {
  if (control == nullptr || control->state().invisible) return;
  const auto* widget = qobject_cast<QWidget*>(control->object());
  const auto here = path + "/" + (widget ? widget->objectName().toStdString() : "");
  const auto role = control->role();
  if (HasContent(role)) {
    EXPECT_NE(control->text(QAccessible::Name), QString()) << here << ", role " << role;
  }
  if (role != QAccessible::ComboBox)  // whose text box and list the combo box speaks for
    for (int i = 0; i < control->childCount(); ++i)
      ExpectNames(control->child(i), here);
}

/// Two buttons on a page are captioned "&Browse..."; their key goes from one to the other.
void ExpectDifferentKeys(const QWidget& window) {
  std::map<QKeySequence, QString> captions;
  const auto expectFree = [&captions](const QString& caption) {
    const auto key = QKeySequence::mnemonic(caption);
    if (key.isEmpty()) return;
    const auto [taken, isNew] = captions.emplace(key, caption);
    EXPECT_TRUE(isNew || taken->second == caption)
        << taken->second.toStdString() << " and " << caption.toStdString();
  };
  for (const auto* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisible()) continue;
    if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) expectFree(button->text());
    if (const auto* label = qobject_cast<const QLabel*>(widget);
        label != nullptr && label->buddy() != nullptr)
      expectFree(label->text());
    if (const auto* tabs = qobject_cast<const QTabBar*>(widget))
      for (int i = 0; i < tabs->count(); ++i)
        expectFree(tabs->tabText(i));
    if (qobject_cast<const QMenuBar*>(widget) != nullptr)
      for (const auto* menu : widget->actions())
        expectFree(menu->text());
  }
}

/// Of a row of options Tab visits one, and the arrow keys the others.
bool IsOption(const QWidget* widget) {
  return qobject_cast<const QRadioButton*>(widget) != nullptr;
}

Widgets Reachable(const QWidget& window) {
  Widgets reachable;
  for (const auto* widget : window.findChildren<QWidget*>())
    if (widget->isVisible() && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0 &&
        !IsOption(widget))
      reachable.insert(widget);
  return reachable;
}

void ExpectTabVisitsAll(QWidget& window) {
  auto left = Reachable(window);
  while (!left.empty()) {
    QTest::keyClick(window.windowHandle(), Qt::Key_Tab);
    const auto* reached = QApplication::focusWidget();
    if (IsOption(reached) || left.erase(reached) == 1) continue;
    ADD_FAILURE() << "again, or out of place: " << Describe(reached);
    for (const auto* missed : left)
      ADD_FAILURE() << "never reached: " << Describe(missed);
    return;
  }
}

void ExpectAccessible(QWidget& window) {
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitFor([&window] { return window.isActiveWindow(); }));
  ExpectNames(QAccessible::queryAccessibleInterface(&window));
  ExpectDifferentKeys(window);
  ExpectTabVisitsAll(window);
}

class AccessibilityTest : public ConsoleFixture {};

TEST_F(AccessibilityTest, TheConsoleAndItsPages) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"Pop3Monitor Of b", "Disable"}, {"SmtpMonitor Of c", "Enable"}});
  engine.At("SmtpMonitor Of c").attributes["MonitorExt_To"] = "c@example.com";  // or Tab would fill it
  ExpectAccessible(*form);
  for (const char* name : {"WebMonitor Of a", "Pop3Monitor Of b", "SmtpMonitor Of c"}) {
    ClickNode(name);
    for (auto* tabs : form->findChildren<QTabWidget*>())
      for (int tab = 0; tabs->isVisible() && tab < tabs->count(); ++tab) {
        SCOPED_TRACE(std::string(name) + ", tab " + tabs->tabText(tab).toStdString());
        tabs->setCurrentIndex(tab);
        ExpectAccessible(*form);
      }
  }
}

TEST_F(AccessibilityTest, EveryDialog) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  using Dialog = std::unique_ptr<QWidget>;
  const std::pair<const char*, std::function<Dialog()>> forms[] = {
      {"splash", [] { return std::make_unique<support::FrmSplash>(); }},
      {"about",
       [this] { return std::make_unique<support::frmAbout>(bas, form.get(), platform::SystemRegistry()); }},
      {"viewer",
       [this] {
         return std::make_unique<console::shared::FrmURLShow>(form.get(), QStringLiteral("http://a/"),
                                                              QString());
       }},
      {"add", [this] { return std::make_unique<wizards::FrmAddMonitor>(bas, form.get()); }},
      {"web", [this] { return std::make_unique<wizards::FrmWizWeb>(bas, form.get()); }},
      {"pop3", [this] { return std::make_unique<wizards::FrmWizPop>(bas, form.get()); }},
      {"smtp", [this] { return std::make_unique<wizards::FrmWizSmtp>(bas, form.get()); }},
  };
  for (const auto& [name, open] : forms) {
    SCOPED_TRACE(name);
    const auto dialog = open();
    dialog->show();
    ExpectAccessible(*dialog);
  }
}

}  // namespace
}  // namespace norvane::tests
