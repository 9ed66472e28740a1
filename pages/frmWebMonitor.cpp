#include "pages/frmWebMonitor.h"

#include "ui_frmWebMonitor.h"

namespace norvane::pages {

frmWebMonitor::frmWebMonitor(QWidget* parent) : Page(parent), m_ui(std::make_unique<Ui::frmWebMonitor>()) {
  m_ui->setupUi(this);
}

frmWebMonitor::~frmWebMonitor() = default;

}  // namespace norvane::pages
