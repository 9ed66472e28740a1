#pragma once

#include <memory>

#include "wizards/Wizard.h"

namespace norvane::wizards {

namespace Ui {
class FrmWizPop;
}

/// Adds a POP3 monitor.
class FrmWizPop : public Wizard {
  Q_OBJECT

 public:
  explicit FrmWizPop(console::shared::MainBas& bas, QWidget* owner = nullptr);
  ~FrmWizPop() override;

 private:
  /// A step that fails is passed over in silence.
  void ShowFailures(const std::string& /*fullName*/, const std::vector<std::string>& /*failures*/) override {}

  const std::unique_ptr<Ui::FrmWizPop> m_own;
};

}  // namespace norvane::wizards
