#pragma once

#include <memory>

#include "pages/MonitorPage.h"

namespace norvane::console::shared {
class UrlCheck;
}

namespace norvane::pages {

namespace Ui {
class DefaultCommand;
class frmWebMonitor;
}  // namespace Ui

/// The page of web monitors. It alone has a success flag, a check of the URL and a default command.
class frmWebMonitor : public MonitorPage {
  Q_OBJECT

 public:
  explicit frmWebMonitor(console::shared::MainBas& bas, QWidget* parent = nullptr);
  ~frmWebMonitor() override;

  void Command1_Click();
  void optFlag_Click(bool checked);
  void chkDefaultCmd_Click();

 private:
  /// Without the pager type rule.
  void RunNotificationHandlers() override;
  /// A test goes on with what is stored if a rule fails.
  bool ReadyToTest() override { return true; }
  void PlaceDefaultCommand();

  const std::unique_ptr<Ui::frmWebMonitor> m_general;
  const std::unique_ptr<Ui::DefaultCommand> m_default;
  std::unique_ptr<console::shared::UrlCheck> m_check;
};

}  // namespace norvane::pages
