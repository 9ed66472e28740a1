#pragma once

#include <memory>

#include "pages/MonitorPage.h"

namespace norvane::pages {

namespace Ui {
class FrmPop3Monitor;
}

/// The page of POP3 monitors.
class FrmPop3Monitor : public MonitorPage {
  Q_OBJECT

 public:
  explicit FrmPop3Monitor(console::shared::MainBas& bas, QWidget* parent = nullptr);
  ~FrmPop3Monitor() override;

 private:
  const std::unique_ptr<Ui::FrmPop3Monitor> m_general;
};

}  // namespace norvane::pages
