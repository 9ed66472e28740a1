#include "wizards/FrmWizWeb.h"

#include "console/shared/ConnectHandler.h"
#include "console/shared/UrlCheck.h"
#include "ui_FrmWizWeb.h"
#include "ui_Wizard.h"

namespace norvane::wizards {

namespace {
constexpr char Name[] = "Descriptive name of the monitor";
constexpr console::shared::ToolTip ToolTips[] = {{"Label5_0", Name}, {"txtMonitorName", Name}};
}  // namespace

FrmWizWeb::FrmWizWeb(console::shared::MainBas& bas, QWidget* owner)
    : Wizard(bas, settings::Type::Web, owner), m_own(std::make_unique<Ui::FrmWizWeb>()) {
  setObjectName(QStringLiteral("FrmWizWeb"));
  m_own->setupUi(m_ui->Own);
  Form_Load({.caption = "Add WebMonitor Wizard", .frame2 = "Notify Mode", .toolTips = ToolTips});
  m_check = std::make_unique<console::shared::UrlCheck>(
      bas,
      console::shared::UrlCheckControls{*this, *m_own->txtMonitorPoint, *m_own->Command1, *m_own->lbl,
                                        *m_own->optFlag_0, *m_own->txtBySize},
      console::shared::UrlCheck::Flag::SelectBySize);
  console::shared::ConnectHandler(m_bas, m_own->Command1, &QPushButton::clicked, this,
                                  &FrmWizWeb::Command1_Click);
}

FrmWizWeb::~FrmWizWeb() = default;

void FrmWizWeb::Command1_Click() {
  m_check->Command1_Click();
}

}  // namespace norvane::wizards
