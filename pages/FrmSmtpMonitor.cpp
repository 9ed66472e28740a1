#include "pages/FrmSmtpMonitor.h"

#include "ui_FrmSmtpMonitor.h"

namespace norvane::pages {

FrmSmtpMonitor::FrmSmtpMonitor(QWidget* parent) : Page(parent), m_ui(std::make_unique<Ui::FrmSmtpMonitor>()) {
  m_ui->setupUi(this);
}

FrmSmtpMonitor::~FrmSmtpMonitor() = default;

}  // namespace norvane::pages
