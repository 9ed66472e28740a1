#pragma once

#include <memory>

#include "pages/MonitorPage.h"

namespace norvane::pages {

namespace Ui {
class FrmSmtpMonitor;
}

/// The page of SMTP monitors.
class FrmSmtpMonitor : public MonitorPage {
  Q_OBJECT

 public:
  explicit FrmSmtpMonitor(console::shared::MainBas& bas, QWidget* parent = nullptr);
  ~FrmSmtpMonitor() override;

  /// The address rule: run whenever the user moves from the server's name to another control, before that
  /// control's own handler.
  void txtMonitorPoint_LostFocus();

 private:
  const std::unique_ptr<Ui::FrmSmtpMonitor> m_general;
};

}  // namespace norvane::pages
