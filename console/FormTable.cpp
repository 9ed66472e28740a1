#include "console/FormTable.h"

#include "console/engine/MonitorKeys.h"
#include "console/shared/MainBas.h"
#include "pages/FrmPop3Monitor.h"
#include "pages/FrmSmtpMonitor.h"
#include "pages/frmWebMonitor.h"
#include "wizards/FrmWizPop.h"
#include "wizards/FrmWizSmtp.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::console {

namespace {
template <class Form>
shared::Page* Load(shared::MainBas& bas, QWidget* parent) {
  return new Form(bas, parent);
}

template <class Form>
void Launch(shared::MainBas& bas, QWidget& owner) {
  Form wizard(bas, &owner);
  shared::MainBas::CenterForm(wizard, owner);
  wizard.exec();
}

constexpr auto mnuNewWebMonitor_Click = Launch<wizards::FrmWizWeb>;
constexpr auto mnuNewPop3Monitor_Click = Launch<wizards::FrmWizPop>;
constexpr auto mnuSmtpMonitor_Click = Launch<wizards::FrmWizSmtp>;

// clang-format off
constexpr TypeForms Rows[] = {
    {engine::TypeWeb, Load<pages::frmWebMonitor>,
     "mnuNewWebMonitor", "Web Monitor", mnuNewWebMonitor_Click},
    {engine::TypePop3, Load<pages::FrmPop3Monitor>,
     "mnuNewPop3Monitor", "Pop3 Monitor", mnuNewPop3Monitor_Click},
    {engine::TypeSmtp, Load<pages::FrmSmtpMonitor>,
     "mnuSmtpMonitor", "Smtp Monitor", mnuSmtpMonitor_Click},
};
// clang-format on
static_assert(std::size(Rows) <= shared::UsedSlots);
}  // namespace

std::span<const TypeForms> FormTable() {
  return Rows;
}

}  // namespace norvane::console
