#include "wizards/FrmWizSmtp.h"

#include <utility>

#include "console/shared/ConnectHandler.h"
#include "settings/PageData.h"
#include "ui_FrmWizSmtp.h"
#include "ui_Wizard.h"

namespace norvane::wizards {

FrmWizSmtp::FrmWizSmtp(console::shared::MainBas& bas, QWidget* owner)
    : Wizard(bas, settings::Type::Smtp, owner), m_own(std::make_unique<Ui::FrmWizSmtp>()) {
  setObjectName(QStringLiteral("FrmWizSmtp"));
  m_own->setupUi(m_ui->Own);
  delete std::exchange(m_ui->Label5_1, nullptr);  // the frame's title says it
  Form_Load({.caption = "Add SmtpMonitor Wizard", .monitorName = "example", .frame2 = "Notification mode"});
  console::shared::ConnectHandler(m_bas, m_own->txtMonitorPoint, &console::shared::LeaveEdit::LostFocus, this,
                                  &FrmWizSmtp::txtMonitorPoint_LostFocus);
}

FrmWizSmtp::~FrmWizSmtp() = default;

void FrmWizSmtp::txtMonitorPoint_LostFocus() {
  settings::ProposeAddressee(Fields());
}

}  // namespace norvane::wizards
