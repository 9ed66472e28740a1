#include "support/frmAbout.h"

#include <QIcon>
#include <utility>

#include "console/shared/ConnectHandler.h"
#include "console/shared/FitScreen.h"
#include "console/shared/MainBas.h"
#include "ui_frmAbout.h"

// The macro works only outside of namespaces.
static void InitAboutPicture() {
  Q_INIT_RESOURCE(about);
}

namespace norvane::support {

namespace {
constexpr char Version[] = NORVANE_VERSION;
constexpr char ProductPage[] = "http://" NORVANE_PRODUCT_HOST "/eng/product/product.html";
constexpr char SupportPage[] = "http://" NORVANE_SUPPORT_HOST "/eng/product/product_support.html";
}  // namespace

frmAbout::frmAbout(console::shared::MainBas& bas, QWidget* owner, const platform::Registry& registry,
                   StartProgram start)
    : QDialog(owner),
      m_bas(bas),
      m_registry(registry),
      m_start(std::move(start)),
      m_ui(std::make_unique<Ui::frmAbout>()) {
  InitAboutPicture();
  m_ui->setupUi(this);
  m_ui->picIcon->setPixmap(
      QIcon(QStringLiteral(":/norvane/about.svg")).pixmap(m_ui->picIcon->minimumSize(), devicePixelRatioF()));
  DrawLinks();
  console::shared::ConnectHandler(m_bas, m_ui->cmdOK, &QPushButton::clicked, this, &frmAbout::cmdOK_Click);
  console::shared::ConnectHandler(m_bas, m_ui->cmdSysInfo, &QPushButton::clicked, this,
                                  &frmAbout::cmdSysInfo_Click);
  Form_Load();
}

frmAbout::~frmAbout() = default;

void frmAbout::Form_Load() {
  setWindowTitle(QStringLiteral("About ") + QLatin1String(console::shared::ApplicationTitle));
  m_ui->lblVersion->setText(QStringLiteral("Version ") + QLatin1String(Version));
  console::shared::FitScreen(*this);
  if (parentWidget() != nullptr) m_bas.CenterForm(*this, *parentWidget());
}

void frmAbout::DrawLinks() {
  constexpr int lightGround = 128;
  constexpr int lighterByPercent = 180;
  struct Link {
    QPushButton* label;
    const char* address;
  };
  const Link links[] = {{m_ui->lblProduct_0, ProductPage}, {m_ui->lblProduct_1, SupportPage}};
  for (int index = 0; index < 2; ++index) {
    auto* label = links[index].label;
    label->setText(QLatin1String(links[index].address));
    label->setCursor(Qt::PointingHandCursor);
    auto colours = label->palette();
    const bool dark = colours.color(QPalette::Window).lightness() < lightGround;
    const auto titleBar = colours.color(QPalette::Active, QPalette::Highlight);
    colours.setColor(QPalette::ButtonText, dark ? titleBar.lighter(lighterByPercent) : titleBar);
    label->setPalette(colours);
    connect(label, &QPushButton::clicked, this,
            [this, index] { m_bas.RunHandler([this, index] { lblProduct_Click(index); }); });
  }
}

void frmAbout::cmdOK_Click() {
  accept();
}

void frmAbout::cmdSysInfo_Click() {
  StartSysInfo(m_registry, m_start, m_bas.Dialogs);
}

void frmAbout::lblProduct_Click(int index) {
  const auto* label = index == 0 ? m_ui->lblProduct_0 : m_ui->lblProduct_1;
  m_bas.OpenDocument(label->text().toStdString(), false);
}

}  // namespace norvane::support
