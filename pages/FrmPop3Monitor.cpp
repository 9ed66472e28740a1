#include "pages/FrmPop3Monitor.h"

#include "console/shared/ToolTips.h"
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

// The other pages have none on these controls.
constexpr char EmailAddr[] = "Email address of the person to contact in the event of server failure";
constexpr char Subject[] = "subject of the email message";
constexpr char SmtpServer[] = "Server through which the email message will be sent";
constexpr char PagerNumber[] = "Pager or mobile phone number of the contact person";
constexpr char LogFile[] =
    "Path and name of the log file in which the server activities will be recorded(Recommended:use %d%m%y in "
    "your filename if you wish to extract the system date to uniquely identify the fiel)";
constexpr console::shared::ToolTip ToolTips[] = {
    {"label1_6", EmailAddr},
    {"txtEmailAddr", EmailAddr},
    {"label1_7", Subject},
    {"txtSubject", Subject},
    {"label1_8", SmtpServer},
    {"txtSmtpServer", SmtpServer},
    {"label1_9", PagerNumber},
    {"txtPagerNumber", PagerNumber},
    {"cmbPagerType", "Medium used to initiate the call"},
    {"label1_11", "Short descriptive message about the server problem"},
    {"txtLaunchUpCmd", "Enter the command file (Optional) to execute upon successful restart of the server"},
    {"label1_17", LogFile},
    {"txtLogFile", LogFile},
};
}  // namespace

FrmPop3Monitor::FrmPop3Monitor(console::shared::MainBas& bas, QWidget* parent)
    : MonitorPage(bas, settings::Type::Pop3, QStringLiteral("FrmPop3Monitor"), parent),
      m_general(std::make_unique<Ui::FrmPop3Monitor>()) {
  m_general->setupUi(m_ui->General);
  m_general->txtPop3Password->setStyleSheet(QStringLiteral("lineedit-password-character: 42"));  // "*"
  console::shared::ShowToolTips(*this, ToolTips);
  Form_Load(TabOrder);
}

FrmPop3Monitor::~FrmPop3Monitor() = default;

}  // namespace norvane::pages
