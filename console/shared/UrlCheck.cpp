#include "console/shared/UrlCheck.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <utility>

#include "console/shared/ConnectHandler.h"
#include "console/shared/FrmURLShow.h"
#include "console/shared/MainBas.h"
#include "console/shared/UserInput.h"
#include "platform/Blanks.h"
#include "platform/PageText.h"

namespace norvane::console::shared {

namespace {
constexpr int LookMilliseconds = 50;
constexpr int BlinkLooks = 10;
constexpr QLatin1String CheckCaption("Check URL");
constexpr QLatin1String CancelCaption("Cancel Check");
constexpr QLatin1String WaitingText("Waiting for response...");
}  // namespace

UrlCheck::UrlCheck(MainBas& bas, const UrlCheckControls& controls, Flag flag, std::chrono::milliseconds limit)
    : m_bas(bas), m_controls(controls), m_flag(flag), m_limit(limit) {
  m_look.setInterval(LookMilliseconds);
  ConnectHandler(m_bas, &m_look, &QTimer::timeout, this, &UrlCheck::Look);
}

UrlCheck::~UrlCheck() {
  if (m_look.isActive()) m_bas.Dialogs.ShowHourglass(false);
}

void UrlCheck::Command1_Click() {
  if (platform::Trimmed(m_controls.txtMonitorPoint.text().toStdString()).empty()) return;
  m_controls.txtMonitorPoint.setEnabled(false);
  if (m_controls.Command1.text() == CancelCaption) {
    m_inet1->Stop();
    Finish();
  } else {
    Begin();
  }
}

void UrlCheck::Begin() {
  m_controls.lbl.show();
  m_bas.Dialogs.ShowHourglass(true);
  m_inet1 = m_bas.Engine.Fetch(m_controls.txtMonitorPoint.text().toStdString(), m_limit);
  m_blocker = std::make_unique<InputBlocker>(&m_controls.Command1);
  m_looks = 0;
  m_look.start();
}

void UrlCheck::Look() {
  if (m_inet1->HasEnded()) return Finish();
  if (++m_looks == BlinkLooks) WaitForEnd();
  if (m_looks % BlinkLooks == 0) Blink();
}

void UrlCheck::WaitForEnd() {
  m_bas.Dialogs.ShowHourglass(false);
  m_controls.Command1.setText(CancelCaption);
}

void UrlCheck::Blink() {
  m_controls.lbl.setText(m_controls.lbl.text().isEmpty() ? WaitingText : QLatin1String());
}

/// Also a cancelled fetch has a result: what had come of the page by then.
void UrlCheck::Finish() {
  m_look.stop();
  m_blocker.reset();
  m_controls.Command1.setText(CheckCaption);
  const auto reply = std::exchange(m_inet1, nullptr)->Reply();
  if (reply.end != engine::PageReply::End::Complete)
    return ShowFailure(reply.end == engine::PageReply::End::TimedOut);
  m_bas.Dialogs.ShowHourglass(false);
  m_controls.lbl.hide();
  ShowPage(reply);
}

void UrlCheck::ShowFailure(bool timedOut) {
  ShowError(timedOut ? "connect to the URL timeout" : "Can not Check URL");
  m_controls.lbl.hide();
  m_bas.Dialogs.ShowHourglass(false);
  m_controls.txtMonitorPoint.setEnabled(true);
}

void UrlCheck::ShowPage(const engine::PageReply& reply) {
  const auto text = platform::DecodePage(reply.body, reply.contentType);
  if (text.empty()) {
    ShowError("return null, maybe invalid URL");
    m_controls.txtMonitorPoint.setEnabled(true);
    return;
  }
  if (m_flag == Flag::SelectBySize) m_controls.optFlag_0.setChecked(true);
  if (m_controls.optFlag_0.isChecked())
    m_controls.txtBySize.setText(QString::number(m_bas.Charset.SizeOf(text)));
  auto* viewer =
      new FrmURLShow(&m_controls.form, m_controls.txtMonitorPoint.text(), QString::fromStdString(text));
  connect(viewer, &QDialog::finished, this, [this] { m_controls.txtMonitorPoint.setEnabled(true); });
  viewer->show();
}

void UrlCheck::ShowError(const std::string& text) {
  m_bas.Dialogs.Show({.title = "Error", .text = text, .icon = BoxIcon::Information});
}

}  // namespace norvane::console::shared
