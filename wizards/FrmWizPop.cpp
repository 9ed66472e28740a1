#include "wizards/FrmWizPop.h"

#include "ui_FrmWizPop.h"
#include "ui_Wizard.h"

namespace norvane::wizards {

FrmWizPop::FrmWizPop(console::shared::MainBas& bas, QWidget* owner)
    : Wizard(bas, settings::Type::Pop3, owner), m_own(std::make_unique<Ui::FrmWizPop>()) {
  setObjectName(QStringLiteral("FrmWizPop"));
  m_own->setupUi(m_ui->Own);
  Form_Load();
}

FrmWizPop::~FrmWizPop() = default;

}  // namespace norvane::wizards
