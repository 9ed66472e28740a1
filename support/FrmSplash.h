#pragma once

#include <QDialog>
#include <QTimer>
#include <memory>

namespace norvane::support {

namespace Ui {
class FrmSplash;
}

/// The picture that the user sees while the console starts. Shown modally; closes after two seconds, or at
/// once on a click or key.
class FrmSplash : public QDialog {
  Q_OBJECT

 public:
  FrmSplash();
  ~FrmSplash() override;

  void Timer1_Timer();
  void Form_Click();
  void Form_KeyPress();
  void picIcon_Click();

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Form_Load();

  std::unique_ptr<Ui::FrmSplash> m_ui;
  QTimer Timer1;
};

}  // namespace norvane::support
