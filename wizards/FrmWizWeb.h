#pragma once

#include <memory>

#include "wizards/Wizard.h"

namespace norvane::console::shared {
class UrlCheck;
}

namespace norvane::wizards {

namespace Ui {
class FrmWizWeb;
}

/// Adds a web monitor.
class FrmWizWeb : public Wizard {
  Q_OBJECT

 public:
  explicit FrmWizWeb(console::shared::MainBas& bas, QWidget* owner = nullptr);
  ~FrmWizWeb() override;

  void Command1_Click();

 private:
  const std::unique_ptr<Ui::FrmWizWeb> m_own;
  std::unique_ptr<console::shared::UrlCheck> m_check;
};

}  // namespace norvane::wizards
