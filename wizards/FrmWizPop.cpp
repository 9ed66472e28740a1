#include "wizards/FrmWizPop.h"

#include "ui_FrmWizPop.h"
#include "ui_Wizard.h"

namespace norvane::wizards {

namespace {
constexpr char Name[] = "Descriptive name of the monitor";
constexpr char Number[] = "Contact number of the person who will be notified of the server failure";
constexpr char Message[] = "Short descriptive message about the server problem";
constexpr console::shared::ToolTip ToolTips[] = {
    {"Label5_0", Name},         {"txtMonitorName", Name}, {"label1_9", Number},
    {"txtPagerNumber", Number}, {"label1_11", Message},   {"txtPagerMsg", Message},
};
}  // namespace

FrmWizPop::FrmWizPop(console::shared::MainBas& bas, QWidget* owner)
    : Wizard(bas, settings::Type::Pop3, owner), m_own(std::make_unique<Ui::FrmWizPop>()) {
  setObjectName(QStringLiteral("FrmWizPop"));
  m_own->setupUi(m_ui->Own);
  Form_Load({.caption = "Add Pop3Monitor Wizard", .monitorName = "example", .toolTips = ToolTips});
}

FrmWizPop::~FrmWizPop() = default;

}  // namespace norvane::wizards
