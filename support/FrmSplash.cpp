#include "support/FrmSplash.h"

#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QScreen>

#include "console/shared/MainBas.h"
#include "ui_FrmSplash.h"

// The macro works only outside of namespaces.
static void InitSplashPicture() {
  Q_INIT_RESOURCE(splash);
}

namespace norvane::support {

namespace {
constexpr int ShownMilliseconds = 2000;
}

FrmSplash::FrmSplash() : m_ui(std::make_unique<Ui::FrmSplash>()), Timer1(this) {
  InitSplashPicture();
  m_ui->setupUi(this);
  setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
  const QSize size = m_ui->picIcon->size();
  m_ui->picIcon->setPixmap(QIcon(QStringLiteral(":/norvane/splash.svg")).pixmap(size, devicePixelRatioF()));
  m_ui->picIcon->installEventFilter(this);
  Timer1.setObjectName(QStringLiteral("Timer1"));
  Timer1.setSingleShot(true);
  connect(&Timer1, &QTimer::timeout, this, &FrmSplash::Timer1_Timer);
  Form_Load();
}

FrmSplash::~FrmSplash() = default;

void FrmSplash::Form_Load() {
  console::shared::MainBas::CenterForm(*this, *QGuiApplication::primaryScreen());
  m_ui->picIcon->move(0, 0);
  setFixedSize(m_ui->picIcon->size());
  Timer1.start(ShownMilliseconds);
}

void FrmSplash::Timer1_Timer() {
  Timer1.stop();
  accept();
}

void FrmSplash::Form_Click() {
  Timer1_Timer();
}
void FrmSplash::Form_KeyPress() {
  Timer1_Timer();
}
void FrmSplash::picIcon_Click() {
  Timer1_Timer();
}

void FrmSplash::mousePressEvent(QMouseEvent* /*event*/) {
  Form_Click();
}

void FrmSplash::keyPressEvent(QKeyEvent* /*event*/) {
  Form_KeyPress();
}

bool FrmSplash::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::MouseButtonPress) return QDialog::eventFilter(watched, event);
  picIcon_Click();
  return true;
}

}  // namespace norvane::support
