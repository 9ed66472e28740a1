#pragma once

#include <QDialog>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "console/shared/FieldControls.h"
#include "console/shared/ToolTips.h"
#include "settings/Type.h"

namespace norvane::console::shared {
class MainBas;
struct TreeNode;
}  // namespace norvane::console::shared

namespace norvane::wizards {

namespace Ui {
class Wizard;
}

/// Texts of the common controls that differ between the wizards.
struct WizardTexts {
  const char* caption;
  const char* monitorName = "";
  const char* frame2 = "";
  std::span<const console::shared::ToolTip> toolTips = {};
};

/// What the wizards of all types have in common: name, pager, and the creation of the monitor. Each wizard
/// puts its own controls into `Own`.
class Wizard : public QDialog {
  Q_OBJECT

 public:
  ~Wizard() override;

  void chkInetCall_Click();
  void cmbPagerType_DropDown();
  /// The pager type rule.
  void cmbPagerType_Change();
  void cmdOK_Click();
  void cmdCancel_Click();

 protected:
  /// `type` must outlive this.
  Wizard(console::shared::MainBas& bas, const settings::Type& type, QWidget* owner);
  /// Each wizard calls it once, with its own controls in place.
  void Form_Load(const WizardTexts& texts);

  /// Shows which steps failed while the new monitor was set up, each with its reason.
  virtual void ShowFailures(const std::string& fullName, const std::vector<std::string>& failures);

  /// A button that is reached by its access key gets the focus first, so that the field before it knows.
  bool eventFilter(QObject* watched, QEvent* event) override;

  [[nodiscard]] console::shared::FieldControls& Fields() { return *m_fields; }

  console::shared::MainBas& m_bas;
  const std::unique_ptr<Ui::Wizard> m_ui;

 private:
  void OrderTabs();
  void WireControls();

  void CreateMonitor();
  /// Gives the new monitor, which is `CurrentMonitor`, its attributes. What could not be done, each with its
  /// reason.
  [[nodiscard]] std::vector<std::string> SetUp(const console::shared::TreeNode& node);

  const settings::Type& m_type;
  std::unique_ptr<console::shared::FieldControls> m_fields;
};

}  // namespace norvane::wizards
