#include "wizards/Wizard.h"

#include <QEvent>
#include <functional>
#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "console/shared/ConnectHandler.h"
#include "console/shared/FitScreen.h"
#include "console/shared/MainBas.h"
#include "console/shared/MonitorTree.h"
#include "platform/FileNames.h"
#include "platform/Paths.h"
#include "settings/NewMonitor.h"
#include "settings/PageData.h"
#include "settings/PagerTypeRows.h"
#include "support/PagerTypes.h"
#include "ui_Wizard.h"
#include "wizards/AddMonitor.h"

namespace norvane::wizards {

namespace {
namespace keys = console::engine::keys;
using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::BoxIcon;

BoxIcon ToBoxIcon(settings::Icon icon) {
  switch (icon) {
    case settings::Icon::Information:
      return BoxIcon::Information;
    case settings::Icon::Exclamation:
      return BoxIcon::Exclamation;
    case settings::Icon::Critical:
      break;
  }
  return BoxIcon::Critical;
}
}  // namespace

Wizard::Wizard(console::shared::MainBas& bas, const settings::Type& type, QWidget* owner)
    : QDialog(owner), m_bas(bas), m_ui(std::make_unique<Ui::Wizard>()), m_type(type) {
  m_ui->setupUi(this);
}

Wizard::~Wizard() = default;

void Wizard::Form_Load(const WizardTexts& texts) {
  setWindowTitle(QLatin1String(texts.caption));
  m_ui->txtMonitorName->setText(QLatin1String(texts.monitorName));
  m_ui->Frame2->setTitle(QLatin1String(texts.frame2));
  console::shared::ShowToolTips(*this, texts.toolTips);
  OrderTabs();
  m_fields = std::make_unique<console::shared::FieldControls>(*this);
  chkInetCall_Click();
  support::FillPagerTypes(m_bas, *m_ui->cmbPagerType);
  WireControls();
  console::shared::FitScreen(*this);
}

void Wizard::OrderTabs() {
  QWidget* before = m_ui->txtMonitorName;
  for (auto* control : m_ui->Own->findChildren<QWidget*>()) {
    if ((control->focusPolicy() & Qt::TabFocus) == 0) continue;
    setTabOrder(before, control);
    before = control;
  }
}

void Wizard::WireControls() {
  using console::shared::ConnectHandler;
  ConnectHandler(m_bas, m_ui->chkInetCall, &QCheckBox::toggled, this, &Wizard::chkInetCall_Click);
  ConnectHandler(m_bas, m_ui->cmbPagerType, &console::shared::DropDownList::DropDown, this,
                 &Wizard::cmbPagerType_DropDown);
  ConnectHandler(m_bas, m_ui->cmbPagerType, &QComboBox::currentIndexChanged, this,
                 &Wizard::cmbPagerType_Change);
  ConnectHandler(m_bas, m_ui->cmdOK, &QPushButton::clicked, this, &Wizard::cmdOK_Click);
  ConnectHandler(m_bas, m_ui->cmdCancel, &QPushButton::clicked, this, &Wizard::cmdCancel_Click);
  m_ui->cmdOK->installEventFilter(this);
  m_ui->cmdCancel->installEventFilter(this);
}

bool Wizard::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Shortcut) static_cast<QWidget*>(watched)->setFocus(Qt::ShortcutFocusReason);
  return QDialog::eventFilter(watched, event);
}

void Wizard::chkInetCall_Click() {
  const bool checked = m_ui->chkInetCall->isChecked();
  m_ui->cmbPagerType->setEnabled(checked);
  m_ui->txtPagerMsg->setEnabled(checked);
}

void Wizard::cmbPagerType_DropDown() {
  support::OpenPagerTypes(m_bas, *m_ui->cmbPagerType);
}

void Wizard::cmbPagerType_Change() {
  m_ui->txtPagerMsg->setEnabled(
      settings::HasMessageInWizard(m_ui->cmbPagerType->currentText().toStdString()));
}

void Wizard::cmdCancel_Click() {
  reject();
}

void Wizard::cmdOK_Click() {
  const auto failure = settings::CheckNewMonitor(
      m_type, *m_fields, [this](const std::string& fullName) { return m_bas.MonitorExists(fullName); });
  if (!failure) return CreateMonitor();
  if (!failure->message.empty())
    m_bas.Dialogs.Show({.title = "Error", .text = failure->message, .icon = ToBoxIcon(failure->icon)});
}

void Wizard::CreateMonitor() {
  const std::string typeName(m_type.name);
  const auto fullName = settings::FullName(typeName, m_fields->Text(settings::TextField::txtMonitorName));
  const auto& node = AddMonitor(m_bas, {.name = fullName, .type = typeName, .stopped = true});
  hide();

  const auto before = m_bas.CurrentMonitor;
  m_bas.Tree->TvCtrl_NodeClick(node);
  // Without a new current monitor the click has failed, and said so. Nothing may be written to another one.
  if (m_bas.CurrentMonitor != before) {
    if (const auto failures = SetUp(node); !failures.empty()) ShowFailures(fullName, failures);
  }
  accept();
}

/// A step that fails is passed over, so that the monitor gets all that it can have. But an engine that does
/// not answer one is asked for no other.
std::vector<std::string> Wizard::SetUp(const console::shared::TreeNode& node) {
  std::vector<std::string> failures;
  bool answers = true;
  const auto attempt = [&](std::string_view what, const std::function<void()>& step) {
    try {
      step();
    } catch (const EngineError& failure) {
      failures.push_back(std::string(what).append(": ").append(failure.what()));
      answers = failure.Code() != EngineErrorCode::TimedOut;
    }
  };
  const auto ask = [&](std::string_view what, const std::function<void()>& step) {
    if (answers)
      attempt(what, step);
    else
      failures.push_back(std::string(what).append(": not tried"));
  };
  auto monitor = m_bas.CurrentMonitor;
  const auto write = [&ask, &monitor](std::string_view key, std::string_view value) {
    ask(key, [&] { monitor->SetAttr(key, value); });
  };
  settings::WriteNewMonitor(m_type, *m_fields, m_bas.Gateway, write);
  static_cast<void>(platform::MakeFolder(
      m_bas.PathInFolder(platform::files::LogFolder)));  // may be mended until it is used
  write(keys::LogFile, m_bas.LogPattern());
  ask("Init", [&monitor] { monitor->Runner()->Init(monitor); });
  m_bas.CurrentMonitor = monitor;
  attempt("page", [this, &node] { m_bas.Tree->TvCtrl_NodeClick(node); });
  return failures;
}

void Wizard::ShowFailures(const std::string& fullName, const std::vector<std::string>& failures) {
  std::string text = fullName + " was added, but these of its settings could not be stored:\n";
  for (const auto& failure : failures)
    text += "\n" + failure;
  text += "\n\nSet them on its page.";
  m_bas.Dialogs.Show({.title = "Error", .text = text, .icon = BoxIcon::Critical});
}

}  // namespace norvane::wizards
