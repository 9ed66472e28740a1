#pragma once

#include <QDialog>
#include <memory>

namespace norvane::console::shared {

namespace Ui {
class FrmURLShow;
}

/// Shows the text of a fetched page. Deletes itself when it is closed.
class FrmURLShow : public QDialog {
  Q_OBJECT

 public:
  FrmURLShow(QWidget* parent, const QString& url, const QString& text);
  ~FrmURLShow() override;

  void cmdClose_Click();

 private:
  std::unique_ptr<Ui::FrmURLShow> m_ui;
};

}  // namespace norvane::console::shared
