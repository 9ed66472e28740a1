#include "pages/FrmPop3Monitor.h"

#include "ui_FrmPop3Monitor.h"
#include "ui_MonitorPage.h"

namespace norvane::pages {

namespace {
constexpr const char* TabOrder[] = {
    "txtMonitorPoint", "txtPop3Account", "txtPop3Password", "txtInterval",  "txtWaitTime",    "chkByEmail",
    "txtEmailAddr",    "txtSubject",     "txtSmtpServer",   "chkByPager",   "txtPagerNumber", "cmbPagerType",
    "txtPagerMsg",     "cmdTest",        "cmdApply",        "txtLaunchCmd", "txtRetrytime",   "txtRetryTimes",
    "txtLaunchUpCmd",  "txtLogFile",     "cmdHelp",         "cmdRestore",   "SSTab1_Strip",   "cmdTestEmail",
    "chkInetCall",     "cmdTestPager",   "cmdBrowse_0",     "cmdBrowse_1",
};
}  // namespace

FrmPop3Monitor::FrmPop3Monitor(console::shared::MainBas& bas, QWidget* parent)
    : MonitorPage(bas, settings::Type::Pop3, QStringLiteral("FrmPop3Monitor"), parent),
      m_general(std::make_unique<Ui::FrmPop3Monitor>()) {
  m_general->setupUi(m_ui->General);
  m_general->txtPop3Password->setStyleSheet(QStringLiteral("lineedit-password-character: 42"));  // "*"
  Form_Load(TabOrder);
}

FrmPop3Monitor::~FrmPop3Monitor() = default;

}  // namespace norvane::pages
