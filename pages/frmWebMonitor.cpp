#include "pages/frmWebMonitor.h"

#include "console/shared/ConnectHandler.h"
#include "console/shared/UrlCheck.h"
#include "ui_DefaultCommand.h"
#include "ui_MonitorPage.h"
#include "ui_frmWebMonitor.h"

namespace norvane::pages {

namespace {
constexpr const char* TabOrder[] = {
    "txtMonitorPoint", "txtBySize",    "optFlag_0",    "optFlag_1",     "optFlag_2",      "txtInterval",
    "txtWaitTime",     "chkByEmail",   "txtEmailAddr", "txtSubject",    "txtSmtpServer",  "chkByPager",
    "txtPagerNumber",  "cmbPagerType", "txtPagerMsg",  "cmdRestore",    "cmdHelp",        "cmdTest",
    "SSTab1_Strip",    "Command1",     "cmdTestEmail", "chkInetCall",   "cmdTestPager",   "chkDefaultCmd",
    "txtLaunchCmd",    "cmdBrowse_0",  "txtRetrytime", "txtRetryTimes", "txtLaunchUpCmd", "cmdBrowse_1",
    "txtLogFile",      "cmdApply",
};
}  // namespace

frmWebMonitor::frmWebMonitor(console::shared::MainBas& bas, QWidget* parent)
    : MonitorPage(bas, settings::Type::Web, QStringLiteral("frmWebMonitor"), parent),
      m_general(std::make_unique<Ui::frmWebMonitor>()),
      m_default(std::make_unique<Ui::DefaultCommand>()) {
  m_general->setupUi(m_ui->General);
  m_ui->cmbPagerType->setEnabled(false);
  PlaceDefaultCommand();
  Form_Load(TabOrder);
  m_check = std::make_unique<console::shared::UrlCheck>(
      bas,
      console::shared::UrlCheckControls{*this, *m_general->txtMonitorPoint, *m_general->Command1,
                                        *m_general->lbl, *m_general->optFlag_0, *m_general->txtBySize},
      console::shared::UrlCheck::Flag::AsSelected);
  using console::shared::ConnectHandler;
  ConnectHandler(bas, m_general->Command1, &QPushButton::clicked, this, &frmWebMonitor::Command1_Click);
  ConnectHandler(bas, m_default->chkDefaultCmd, &QCheckBox::toggled, this,
                 &frmWebMonitor::chkDefaultCmd_Click);
  for (const auto* option : {m_general->optFlag_0, m_general->optFlag_1, m_general->optFlag_2})
    ConnectHandler(bas, option, &QAbstractButton::toggled, this, &frmWebMonitor::optFlag_Click);
}

frmWebMonitor::~frmWebMonitor() = default;

/// The command's file and its button move into the frame that the default command disables.
void frmWebMonitor::PlaceDefaultCommand() {
  auto* place = new QWidget(m_ui->Frame5);
  m_default->setupUi(place);
  m_ui->Frame5Layout->insertWidget(0, place);
  m_default->famLayout->addWidget(m_ui->LaunchRow);
}

void frmWebMonitor::Command1_Click() {
  m_check->Command1_Click();
}

void frmWebMonitor::optFlag_Click(bool checked) {
  if (checked) EnableApply();
}

void frmWebMonitor::chkDefaultCmd_Click() {
  EnableApply();
  m_default->fam->setEnabled(!m_default->chkDefaultCmd->isChecked());
}

void frmWebMonitor::RunNotificationHandlers() {
  chkByPager_Click();
  chkByEmail_Click();
  chkInetCall_Click();
}

}  // namespace norvane::pages
