#include "pages/FrmPop3Monitor.h"

#include "ui_FrmPop3Monitor.h"

namespace norvane::pages {

FrmPop3Monitor::FrmPop3Monitor(QWidget* parent) : Page(parent), m_ui(std::make_unique<Ui::FrmPop3Monitor>()) {
  m_ui->setupUi(this);
}

FrmPop3Monitor::~FrmPop3Monitor() = default;

}  // namespace norvane::pages
