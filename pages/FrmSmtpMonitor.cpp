#include "pages/FrmSmtpMonitor.h"

#include "console/shared/ConnectHandler.h"
#include "settings/PageData.h"
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
}  // namespace

FrmSmtpMonitor::FrmSmtpMonitor(console::shared::MainBas& bas, QWidget* parent)
    : MonitorPage(bas, settings::Type::Smtp, QStringLiteral("FrmSmtpMonitor"), parent),
      m_general(std::make_unique<Ui::FrmSmtpMonitor>()) {
  m_general->setupUi(m_ui->General);
  Form_Load(TabOrder);
  console::shared::ConnectHandler(bas, m_general->txtMonitorPoint, &console::shared::LeaveEdit::LostFocus,
                                  this, &FrmSmtpMonitor::txtMonitorPoint_LostFocus);
}

FrmSmtpMonitor::~FrmSmtpMonitor() = default;

void FrmSmtpMonitor::txtMonitorPoint_LostFocus() {
  settings::ProposeAddressee(Fields());
}

}  // namespace norvane::pages
