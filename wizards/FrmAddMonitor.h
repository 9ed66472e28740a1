#pragma once

#include <QDialog>
#include <memory>

namespace norvane::console::shared {
class MainBas;
}

namespace norvane::wizards {

namespace Ui {
class FrmAddMonitor;
}

/// Adds a bare monitor of any type that the engine offers. It gets no attributes.
class FrmAddMonitor : public QDialog {
  Q_OBJECT

 public:
  explicit FrmAddMonitor(console::shared::MainBas& bas, QWidget* owner = nullptr);
  ~FrmAddMonitor() override;

  /// Proposes a name for the selected type.
  void cmbMonitorType_Click();
  void cmdOK_Click();
  void cmdCancel_Click();

 private:
  void Form_Load();
  void FillTypes();

  console::shared::MainBas& m_bas;
  const std::unique_ptr<Ui::FrmAddMonitor> m_ui;
};

}  // namespace norvane::wizards
