#pragma once

#include <memory>

#include "console/shared/Page.h"

namespace norvane::pages {

namespace Ui {
class FrmSmtpMonitor;
}

/// The page of SMTP monitors. It has no fields yet.
class FrmSmtpMonitor : public console::shared::Page {
  Q_OBJECT

 public:
  explicit FrmSmtpMonitor(QWidget* parent = nullptr);
  ~FrmSmtpMonitor() override;

  bool Validate() override { return true; }
  void SaveData() override {}
  void RefreshData() override {}

 private:
  std::unique_ptr<Ui::FrmSmtpMonitor> m_ui;
};

}  // namespace norvane::pages
