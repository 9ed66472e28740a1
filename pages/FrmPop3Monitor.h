#pragma once

#include <memory>

#include "console/shared/Page.h"

namespace norvane::pages {

namespace Ui {
class FrmPop3Monitor;
}

/// The page of POP3 monitors. It has no fields yet.
class FrmPop3Monitor : public console::shared::Page {
  Q_OBJECT

 public:
  explicit FrmPop3Monitor(QWidget* parent = nullptr);
  ~FrmPop3Monitor() override;

  bool Validate() override { return true; }
  void SaveData() override {}
  void RefreshData() override {}

 private:
  std::unique_ptr<Ui::FrmPop3Monitor> m_ui;
};

}  // namespace norvane::pages
