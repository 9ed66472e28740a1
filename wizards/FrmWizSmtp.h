#pragma once

#include <memory>

#include "wizards/Wizard.h"

namespace norvane::wizards {

namespace Ui {
class FrmWizSmtp;
}

/// Adds an SMTP monitor.
class FrmWizSmtp : public Wizard {
  Q_OBJECT

 public:
  explicit FrmWizSmtp(console::shared::MainBas& bas, QWidget* owner = nullptr);
  ~FrmWizSmtp() override;

  /// Proposes an account on the server.
  void txtMonitorPoint_LostFocus();

 private:
  const std::unique_ptr<Ui::FrmWizSmtp> m_own;
};

}  // namespace norvane::wizards
