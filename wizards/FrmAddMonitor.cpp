#include "wizards/FrmAddMonitor.h"

#include "console/engine/MonitorKeys.h"
#include "console/shared/ConnectHandler.h"
#include "console/shared/FieldControls.h"
#include "console/shared/MainBas.h"
#include "console/shared/MonitorNames.h"
#include "console/shared/MonitorTree.h"
#include "settings/NewMonitor.h"
#include "ui_FrmAddMonitor.h"
#include "wizards/AddMonitor.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::wizards {

namespace {
namespace engine = console::engine;
}  // namespace

FrmAddMonitor::FrmAddMonitor(console::shared::MainBas& bas, QWidget* owner)
    : QDialog(owner), m_bas(bas), m_ui(std::make_unique<Ui::FrmAddMonitor>()) {
  m_ui->setupUi(this);
  m_bas.RunHandler([this] { Form_Load(); });
}

FrmAddMonitor::~FrmAddMonitor() = default;

void FrmAddMonitor::Form_Load() {
  using console::shared::ConnectHandler;
  ConnectHandler(m_bas, m_ui->cmdOK, &QPushButton::clicked, this, &FrmAddMonitor::cmdOK_Click);
  ConnectHandler(m_bas, m_ui->cmdCancel, &QPushButton::clicked, this, &FrmAddMonitor::cmdCancel_Click);
  FillTypes();
  ConnectHandler(m_bas, m_ui->cmbMonitorType, &QComboBox::currentIndexChanged, this,
                 &FrmAddMonitor::cmbMonitorType_Click);
  if (m_ui->cmbMonitorType->count() > 0) m_ui->cmbMonitorType->setCurrentIndex(0);
}

void FrmAddMonitor::FillTypes() {
  const auto types = m_bas.FetchComponent<engine::MonitorTypeList>(m_bas.MachineName);
  const int count = types->Count();
  for (int index = 1; index <= count; ++index) {
    const auto name = types->Item(index)->Name();
    if (name != engine::TypeServer) m_ui->cmbMonitorType->addItem(QString::fromStdString(name));
  }
  m_ui->cmbMonitorType->setCurrentIndex(-1);  // the first entry has selected itself
  m_bas.CurrentRef.Release();
}

void FrmAddMonitor::cmbMonitorType_Click() {
  const auto head = settings::FullName(m_ui->cmbMonitorType->currentText().toStdString(), "");
  const console::shared::MonitorNames names(m_bas.Tree->MonitorTexts());
  m_ui->txtMonitorName->setText(QString::number(names.LowestFreeNumber(head)));
}

void FrmAddMonitor::cmdOK_Click() {
  const auto typeName = m_ui->cmbMonitorType->currentText().toStdString();
  console::shared::FieldControls fields(*this);
  const auto name = settings::TrimField(fields, settings::TextField::txtMonitorName);
  const auto failure = settings::CheckName(
      typeName, name, [this](const std::string& fullName) { return m_bas.MonitorExists(fullName); });
  if (failure) {
    if (!failure->message.empty())
      m_bas.Dialogs.Show(
          {.title = "Error", .text = failure->message, .icon = console::shared::BoxIcon::Information});
    return;
  }
  const auto fullName = settings::FullName(typeName, name);
  const auto& node = AddMonitor(m_bas, {.name = fullName, .type = typeName});
  accept();
  m_bas.Tree->TvCtrl_NodeClick(node);
  if (typeName == engine::TypeWeb) FrmWizWeb(m_bas).exec();
}

void FrmAddMonitor::cmdCancel_Click() {
  reject();
}

}  // namespace norvane::wizards
