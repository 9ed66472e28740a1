#pragma once

#include <QDialog>
#include <memory>

#include "support/SystemInfo.h"

namespace norvane::console::shared {
class MainBas;
}

namespace norvane::support {

namespace Ui {
class frmAbout;
}

/// The about box: version, the program's web pages, the system's information tool.
class frmAbout : public QDialog {
  Q_OBJECT

 public:
  /// Is centred over `owner`. `registry` must outlive this.
  frmAbout(console::shared::MainBas& bas, QWidget* owner, const platform::Registry& registry,
           StartProgram start = StartDetached);
  ~frmAbout() override;

  void cmdOK_Click();
  void cmdSysInfo_Click();
  void lblProduct_Click(int index);

 private:
  void Form_Load();
  void DrawLinks();

  console::shared::MainBas& m_bas;
  const platform::Registry& m_registry;
  const StartProgram m_start;
  const std::unique_ptr<Ui::frmAbout> m_ui;
};

}  // namespace norvane::support
