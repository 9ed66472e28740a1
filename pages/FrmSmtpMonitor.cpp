#include "pages/FrmSmtpMonitor.h"

#include <QFocusEvent>

#include "console/shared/MainBas.h"
#include "settings/Transfer.h"
#include "ui_FrmSmtpMonitor.h"
#include "ui_MonitorPage.h"

namespace norvane::pages {

namespace {
constexpr const char* TabOrder[] = {
    "txtMonitorPoint", "txtSmtpFrom",  "txtSmtpTo",      "txtInterval",    "txtWaitTime", "cmdRestore",
    "cmdHelp",         "SSTab1_Strip", "chkByEmail",     "txtEmailAddr",   "txtSubject",  "txtSmtpServer",
    "cmdTestEmail",    "chkByPager",   "txtPagerNumber", "cmbPagerType",   "txtPagerMsg", "cmdTestPager",
    "txtLaunchCmd",    "txtRetrytime", "txtRetryTimes",  "txtLaunchUpCmd", "txtLogFile",  "cmdBrowse_1",
    "cmdApply",        "cmdTest",      "chkInetCall",    "cmdBrowse_0",
};

/// A window or menu that comes up takes the focus away only for a while.
bool IsMove(const QFocusEvent& lost) {
  switch (lost.reason()) {
    case Qt::ActiveWindowFocusReason:
    case Qt::PopupFocusReason:
    case Qt::MenuBarFocusReason:
      return false;
    default:
      return true;
  }
}
}  // namespace

FrmSmtpMonitor::FrmSmtpMonitor(console::shared::MainBas& bas, QWidget* parent)
    : MonitorPage(bas, settings::Type::Smtp, QStringLiteral("FrmSmtpMonitor"), parent),
      m_general(std::make_unique<Ui::FrmSmtpMonitor>()) {
  m_general->setupUi(m_ui->General);
  Form_Load(TabOrder);
  m_general->txtMonitorPoint->installEventFilter(this);
}

FrmSmtpMonitor::~FrmSmtpMonitor() = default;

void FrmSmtpMonitor::txtMonitorPoint_LostFocus() {
  settings::ProposeAddressee(*this);
}

bool FrmSmtpMonitor::eventFilter(QObject* watched, QEvent* event) {
  if (watched != m_general->txtMonitorPoint) return MonitorPage::eventFilter(watched, event);
  if (event->type() == QEvent::FocusOut && IsMove(*static_cast<QFocusEvent*>(event)))
    m_bas.RunHandler([this] { txtMonitorPoint_LostFocus(); });
  return false;
}

}  // namespace norvane::pages
