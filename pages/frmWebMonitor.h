#pragma once

#include <memory>

#include "console/shared/Page.h"

namespace norvane::pages {

namespace Ui {
class frmWebMonitor;
}

/// The page of web monitors. It has no fields yet.
class frmWebMonitor : public console::shared::Page {
  Q_OBJECT

 public:
  explicit frmWebMonitor(QWidget* parent = nullptr);
  ~frmWebMonitor() override;

  bool Validate() override { return true; }
  void SaveData() override {}
  void RefreshData() override {}

 private:
  std::unique_ptr<Ui::frmWebMonitor> m_ui;
};

}  // namespace norvane::pages
