#include "console/shared/FrmURLShow.h"

#include <QFontDatabase>

#include "console/shared/WindowTitle.h"
#include "ui_FrmURLShow.h"

namespace norvane::console::shared {

FrmURLShow::FrmURLShow(QWidget* parent, const QString& url, const QString& text)
    : QDialog(parent), m_ui(std::make_unique<Ui::FrmURLShow>()) {
  m_ui->setupUi(this);
  setAttribute(Qt::WA_DeleteOnClose);
  setWindowTitle(WindowTitle(QStringLiteral("URL=") + url));
  m_ui->txtData->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  connect(m_ui->txtData, &PageView::Grown, this,
          [this] { m_ui->lblPart->setText(m_ui->txtData->PartText()); });
  m_ui->txtData->SetPage(text);
  connect(m_ui->cmdClose, &QPushButton::clicked, this, &FrmURLShow::cmdClose_Click);
}

FrmURLShow::~FrmURLShow() = default;

void FrmURLShow::cmdClose_Click() {
  close();
}

}  // namespace norvane::console::shared
