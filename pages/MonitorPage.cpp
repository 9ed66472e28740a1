#include "pages/MonitorPage.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTabBar>
#include <algorithm>
#include <stdexcept>

#include "console/engine/EngineError.h"
#include "console/shared/ConnectHandler.h"
#include "console/shared/MainBas.h"
#include "pages/SeenSettings.h"
#include "pages/Spinner.h"
#include "settings/NumberFields.h"
#include "settings/PageData.h"
#include "settings/PageRules.h"
#include "settings/PagerTypeRows.h"
#include "support/PagerTypes.h"
#include "ui_MonitorPage.h"

namespace norvane::pages {

namespace {
using console::engine::EngineError;
using console::engine::MonitorRunner;
using console::shared::Box;
using console::shared::BoxIcon;
using settings::TextField;

constexpr std::pair<const char*, TextField> Spinners[] = {
    {"udInterval", TextField::txtInterval},
    {"upWaitTime", TextField::txtWaitTime},
    {"UpDown1", TextField::txtRetrytime},
    {"upRetryTimes", TextField::txtRetryTimes},
};

constexpr TextField BrowsedFields[] = {TextField::txtLaunchCmd, TextField::txtLaunchUpCmd};
constexpr char BrowseFolder[] = "/";
constexpr char BrowseFilter[] = "Execute file(*.exe;*.com;*.bat)|*.com;*.exe;*.bat; |All file(*.*)|*.*;";

/// Shows the pointer as an hourglass during its lifetime.
class Hourglass {
 public:
  explicit Hourglass(console::shared::Dialogs& dialogs) : m_dialogs(dialogs) {
    m_dialogs.ShowHourglass(true);
  }
  ~Hourglass() { m_dialogs.ShowHourglass(false); }
  Hourglass(const Hourglass&) = delete;
  Hourglass& operator=(const Hourglass&) = delete;

 private:
  console::shared::Dialogs& m_dialogs;
};

/// The text as it is, in lines: it may come from a server, and a tool tip would read it as markup.
QString PlainToolTip(const std::string& text) {
  return QStringLiteral("<p>%1</p>").arg(QString::fromStdString(text).toHtmlEscaped());
}

Box ErrorBox(std::string text, BoxIcon icon = BoxIcon::Critical) {
  return {.title = "Error", .text = std::move(text), .icon = icon};
}

}  // namespace

MonitorPage::MonitorPage(console::shared::MainBas& bas, const settings::Type& type, const QString& name,
                         QWidget* parent)
    : Page(parent), m_bas(bas), m_ui(std::make_unique<Ui::MonitorPage>()), m_type(type) {
  m_ui->setupUi(this);
  setObjectName(name);
  m_ui->SSTab1->tabBar()->setObjectName(QStringLiteral("SSTab1_Strip"));
  // Otherwise Tab would visit the strip first, whatever the order.
  m_ui->SSTab1->setFocusProxy(nullptr);
  m_ui->SSTab1->setFocusPolicy(Qt::NoFocus);
  m_seen = std::make_unique<SeenSettings>(*m_ui->SSTab1);
}

MonitorPage::~MonitorPage() {
  disconnect(qApp, nullptr, this, nullptr);  // the focus leaves the controls as they go
}

void MonitorPage::Form_Load(std::span<const char* const> tabOrder) {
  m_fields.emplace(*this);
  OrderTabs(tabOrder);
  support::FillPagerTypes(m_bas, *m_ui->cmbPagerType);
  WireControls();
  WireSpinners();
  FilterInput();
  FitLargeFont();
}

void MonitorPage::OrderTabs(std::span<const char* const> names) {
  QWidget* before = nullptr;
  for (const char* name : names) {
    auto* control = findChild<QWidget*>(QLatin1String(name));
    if (control == nullptr) throw std::logic_error(std::string("no control to order: ") + name);
    if (before != nullptr) setTabOrder(before, control);
    before = control;
  }
}

/// A large font needs more than the page was drawn with.
void MonitorPage::FitLargeFont() {
  QSize needed = size().expandedTo(layout()->minimumSize());
  for (int tab = m_ui->SSTab1->count() - 1; tab >= 0; --tab) {
    m_ui->SSTab1->setCurrentIndex(tab);  // of the other tabs the lines of a wrapped text do not count
    layout()->invalidate();
    needed.setHeight(std::max(needed.height(), layout()->minimumHeightForWidth(needed.width())));
  }
  resize(needed);
}

void MonitorPage::WireControls() {
  using console::shared::ConnectHandler;
  for (const auto* box : findChildren<QLineEdit*>())
    ConnectHandler(m_bas, box, &QLineEdit::textChanged, this, &MonitorPage::EnableApply);
  ConnectHandler(m_bas, m_ui->chkByEmail, &QCheckBox::toggled, this, &MonitorPage::chkByEmail_Click);
  ConnectHandler(m_bas, m_ui->chkByPager, &QCheckBox::toggled, this, &MonitorPage::chkByPager_Click);
  ConnectHandler(m_bas, m_ui->chkInetCall, &QCheckBox::toggled, this, &MonitorPage::chkInetCall_Click);
  ConnectHandler(m_bas, m_ui->cmbPagerType, &QComboBox::currentIndexChanged, this,
                 &MonitorPage::cmbPagerType_Change);
  ConnectHandler(m_bas, m_ui->cmbPagerType, &console::shared::DropDownList::DropDown, this,
                 &MonitorPage::cmbPagerType_DropDown);
  ConnectHandler(m_bas, m_ui->cmdTestEmail, &QPushButton::clicked, this, &MonitorPage::cmdTestEmail_Click);
  ConnectHandler(m_bas, m_ui->cmdTestPager, &QPushButton::clicked, this, &MonitorPage::cmdTestPager_Click);
  ConnectHandler(m_bas, m_ui->cmdTest, &QPushButton::clicked, this, &MonitorPage::cmdTest_Click);
  ConnectHandler(m_bas, m_ui->cmdRestore, &QPushButton::clicked, this, &MonitorPage::cmdRestore_Click);
  ConnectHandler(m_bas, m_ui->cmdApply, &QPushButton::clicked, this, &MonitorPage::cmdApply_Click);
  ConnectHandler(m_bas, m_ui->cmdHelp, &QPushButton::clicked, this, &MonitorPage::cmdHelp_Click);
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget* old, const QWidget* now) {
    if (now == m_ui->cmdApply && isAncestorOf(old)) m_beforeApply = old;  // not when a box gives it back
  });
  connect(m_ui->cmdBrowse_0, &QPushButton::clicked, this, [this] { cmdBrowse_Click(0); });
  connect(m_ui->cmdBrowse_1, &QPushButton::clicked, this, [this] { cmdBrowse_Click(1); });
}

void MonitorPage::WireSpinners() {
  for (const auto& [name, field] : Spinners) {
    const auto* spinner = findChild<Spinner*>(QLatin1String(name));
    connect(spinner, &Spinner::UpClick, this,
            [this, field = field] { m_fields->SetText(field, settings::StepUp(m_fields->Text(field))); });
    connect(spinner, &Spinner::DownClick, this,
            [this, field = field] { m_fields->SetText(field, settings::StepDown(m_fields->Text(field))); });
  }
}

// Input.

void MonitorPage::FilterInput() {
  for (auto* button : findChildren<QAbstractButton*>())
    button->installEventFilter(this);
  m_ui->cmbPagerType->installEventFilter(this);
  m_ui->SSTab1->tabBar()->installEventFilter(this);
}

bool MonitorPage::eventFilter(QObject* watched, QEvent* event) {
  auto* control = static_cast<QWidget*>(watched);
  switch (event->type()) {
    case QEvent::KeyPress: {
      const int key = static_cast<QKeyEvent*>(event)->key();
      return key == Qt::Key_Return || key == Qt::Key_Enter;  // some desktops press the button in focus
    }
    case QEvent::Wheel:
      event->ignore();
      return !control->hasFocus();
    case QEvent::Shortcut:
      control->setFocus(Qt::ShortcutFocusReason);
      return false;
    default:
      return false;
  }
}

// Loading, saving, testing.

bool MonitorPage::Validate() {
  const auto failure = settings::Validate(m_type, *m_fields, m_bas.Folder());
  if (failure) m_bas.Dialogs.Show(ErrorBox(failure->message));
  return !failure;
}

void MonitorPage::SaveData() {
  try {
    settings::SaveData(m_type, *m_fields, *m_bas.CurrentMonitor, m_bas.Gateway, m_keptMode);
  } catch (const EngineError&) {
    m_seen->See(*m_bas.CurrentMonitor);  // some is written, and by nobody else
    throw;
  }
  m_seen->See(*m_bas.CurrentMonitor);
  KeepMode(m_keptMode);  // its tool tip was covered by a mark, maybe
}

void MonitorPage::RefreshData() {
  m_seen->See(*m_bas.CurrentMonitor);  // first, so that what changes meanwhile is not missed
  try {
    KeepMode(settings::RefreshData(m_type, *m_fields, *m_bas.CurrentMonitor, m_bas.Gateway));
  } catch (const EngineError&) {
    hide();
    throw;
  }
  RunNotificationHandlers();
  for (auto* button : {m_ui->cmdTest, m_ui->cmdTestEmail, m_ui->cmdTestPager})
    button->setToolTip({});  // the last test's, maybe of another monitor
  ShowWhatIsSaved();
  DisableApply();  // comes last: all changes before it have enabled it
}

void MonitorPage::KeepMode(const std::string& mode) {
  m_keptMode = mode;
  const auto tip = QStringLiteral(
      "<p>The notification of this monitor is none that this page has fields for:</p><p>%1</p><p>Apply keeps "
      "it, with its number and message, unless a box is checked here. To have none, check a box and clear it "
      "again.</p>");
  m_ui->SSTab1->setTabToolTip(
      m_ui->SSTab1->indexOf(m_ui->Notification),
      mode.empty() ? QString() : tip.arg(QString::fromStdString(mode).toHtmlEscaped()));
}

void MonitorPage::ShowWhatIsSaved() {
  const auto tip =
      m_bas.NotSaved.empty()
          ? QString()
          : QStringLiteral(
                "<p>Restore shows what the engine works with. Its data file is older, since the last "
                "Apply failed: %1</p>")
                .arg(QString::fromStdString(m_bas.NotSaved).toHtmlEscaped());
  m_ui->cmdApply->setToolTip(tip);
  m_ui->cmdRestore->setToolTip(tip);
}

void MonitorPage::DisableApply() {
  if (m_ui->cmdApply->hasFocus()) {
    const auto canHaveFocus = [this](const QWidget* control) {
      return control != nullptr && isAncestorOf(control) && control->isVisible() && control->isEnabled();
    };
    QWidget* const candidates[] = {m_beforeApply, m_ui->cmdTest, m_ui->cmdRestore, m_ui->cmdHelp};
    (*std::ranges::find_if(candidates, canHaveFocus))->setFocus();
  }
  m_ui->cmdApply->setEnabled(false);
}

void MonitorPage::FollowEngine() {
  if (!m_seen->HaveChanged(*m_bas.CurrentMonitor)) return;
  if (m_ui->cmdApply->isEnabled())
    m_seen->MarkTabs();
  else
    RefreshData();
}

void MonitorPage::RunNotificationHandlers() {
  chkByPager_Click();
  chkByEmail_Click();
  chkInetCall_Click();
  cmbPagerType_Change();
}

void MonitorPage::cmdRestore_Click() {
  RefreshData();
}

void MonitorPage::cmdApply_Click() {
  if (!Validate()) return;
  try {
    SaveData();
    if (!m_bas.Store)
      throw EngineError(console::engine::EngineErrorCode::Gone,
                        "Norvane could not connect to the monitor engine at its start, so nothing is saved");
    m_bas.Store->Save(m_bas.DataFile());
  } catch (const EngineError& failure) {
    m_bas.NotSaved = failure.what();
    ShowWhatIsSaved();
    throw;
  }
  m_bas.NotSaved.clear();
  ShowWhatIsSaved();
  DisableApply();
}

std::int32_t MonitorPage::Run(RunnerCall call, QWidget& button) {
  button.setToolTip({});
  try {
    auto item = m_bas.CurrentMonitor;
    const auto runner = item->Runner();
    const auto result = (*runner.*call)(item);
    m_bas.CurrentMonitor = std::move(item);
    if (result < 0) button.setToolTip(PlainToolTip(runner->Reason()));
    return result;
  } catch (const EngineError& failure) {
    button.setToolTip(PlainToolTip(failure.what()));
    throw;
  }
}

void MonitorPage::cmdTest_Click() {
  if (!ReadyToTest()) return;
  cmdApply_Click();
  const Hourglass pointer(m_bas.Dialogs);
  try {
    if (Run(&MonitorRunner::Monitor, *m_ui->cmdTest) >= 0)
      m_bas.Dialogs.Show({.title = console::shared::ApplicationTitle,
                          .text = "Test Successfully",
                          .icon = BoxIcon::Information});
    else
      m_bas.Dialogs.Show(ErrorBox("Test Monitor Failure"));
  } catch (const EngineError&) {
    m_bas.Dialogs.ShowHourglass(false);
    m_bas.Dialogs.Show(ErrorBox("Test this monitor failure", BoxIcon::Exclamation));
  }
}

/// A notification that could not even be started has failed.
bool MonitorPage::Notified(QWidget& button) {
  try {
    return Run(&MonitorRunner::Notify, button) >= 0;
  } catch (const EngineError&) {
    return false;
  }
}

void MonitorPage::SendTestMessage(QWidget& button) {
  const Hourglass pointer(m_bas.Dialogs);
  if (!Notified(button)) m_bas.Dialogs.Show(ErrorBox("Send Message Failure"));
}

void MonitorPage::cmdTestEmail_Click() {
  SendTestMessage(*m_ui->cmdTestEmail);
}

void MonitorPage::cmdTestPager_Click() {
  SendTestMessage(*m_ui->cmdTestPager);
}

void MonitorPage::cmdHelp_Click() {
  m_bas.OpenHelp();
}

void MonitorPage::cmdBrowse_Click(int index) {
  if (auto chosen = m_bas.Dialogs.OpenFile(BrowseFolder, BrowseFilter)) m_chosenFile = std::move(*chosen);
  m_fields->SetText(BrowsedFields[index], m_chosenFile);
}

// Notification.

void MonitorPage::EnableApply() {
  m_ui->cmdApply->setEnabled(true);
}

void MonitorPage::chkByEmail_Click() {
  const bool checked = m_ui->chkByEmail->isChecked();
  m_ui->Frame1->setEnabled(checked);
  if (checked) m_ui->chkByPager->setChecked(false);
  if (checked) KeepMode({});
  EnableApply();
}

void MonitorPage::chkByPager_Click() {
  const bool checked = m_ui->chkByPager->isChecked();
  m_ui->Frame2->setEnabled(checked);
  if (checked) m_ui->chkByEmail->setChecked(false);
  if (checked) KeepMode({});
  EnableApply();
}

void MonitorPage::chkInetCall_Click() {
  const bool checked = m_ui->chkInetCall->isChecked();
  m_ui->cmbPagerType->setEnabled(checked);
  m_ui->txtPagerMsg->setEnabled(checked);
  EnableApply();
}

void MonitorPage::cmbPagerType_DropDown() {
  support::OpenPagerTypes(m_bas, *m_ui->cmbPagerType);
}

void MonitorPage::cmbPagerType_Change() {
  const auto name = m_ui->cmbPagerType->currentText().toStdString();
  m_ui->txtPagerMsg->setEnabled(settings::HasMessageOnPage(name));
  EnableApply();
}

}  // namespace norvane::pages
