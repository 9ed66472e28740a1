#include "console/shared/QtDialogs.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QRegularExpression>
#include <QUrl>

namespace norvane::console::shared {

namespace {
QMessageBox::Icon IconOf(BoxIcon icon) {
  switch (icon) {
    case BoxIcon::None:
      return QMessageBox::NoIcon;
    case BoxIcon::Information:
      return QMessageBox::Information;
    case BoxIcon::Exclamation:
      return QMessageBox::Warning;
    case BoxIcon::Question:
      return QMessageBox::Question;
    case BoxIcon::Critical:
      return QMessageBox::Critical;
  }
  return QMessageBox::NoIcon;
}

/// The window that a box belongs to: the one in use, or else one on show.
QWidget* Owner() {
  if (auto* active = QApplication::activeWindow()) return active;
  const auto windows = QApplication::topLevelWidgets();
  const auto shown = std::find_if(windows.begin(), windows.end(), [](QWidget* w) {
    return w->isVisible() && w->windowType() != Qt::Popup && w->windowType() != Qt::ToolTip;
  });
  return shown == windows.end() ? nullptr : *shown;
}

/// "*.*" would pass over a name without a dot.
QString QtPattern(const QString& pattern) {
  return pattern == QLatin1String("*.*") ? QStringLiteral("*") : pattern;
}

/// "All(*.*)|*.*;|..." becomes "All(*.*) (*);;...".
QString QtFilter(const std::string& filter) {
  const auto fields = QString::fromStdString(filter).split(u'|');
  QStringList entries;
  for (qsizetype i = 0; i + 1 < fields.size(); i += 2) {
    QStringList patterns;
    for (const auto& pattern : fields[i + 1].split(u';'))
      if (!pattern.trimmed().isEmpty()) patterns << QtPattern(pattern.trimmed());
    entries << fields[i] + QStringLiteral(" (") + patterns.join(u' ') + u')';
  }
  return entries.join(QStringLiteral(";;"));
}

/// A single letter and a colon is a drive, not a scheme.
bool HasScheme(const QString& text) {
  static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]+:"));
  return scheme.match(text).hasMatch();
}
}  // namespace

std::unique_ptr<QMessageBox> QtDialogs::MakeMessageBox(const Box& box) {
  auto message = std::make_unique<QMessageBox>(Owner());
  message->setTextFormat(Qt::PlainText);
  message->setWindowTitle(QString::fromStdString(box.title));
  message->setText(QString::fromStdString(box.text));
  message->setIcon(IconOf(box.icon));
  if (box.buttons == BoxButtons::Ok) {
    message->setStandardButtons(QMessageBox::Ok);
  } else {
    message->setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    message->setEscapeButton(QMessageBox::No);
  }
  return message;
}

BoxChoice QtDialogs::Show(const Box& box) {
  const int choice = MakeMessageBox(box)->exec();
  if (box.buttons == BoxButtons::Ok) return BoxChoice::Ok;
  return choice == QMessageBox::Yes ? BoxChoice::Yes : BoxChoice::No;
}

std::optional<std::string> QtDialogs::OpenFile(const std::string& startFolder, const std::string& filter) {
  const auto chosen =
      QFileDialog::getOpenFileName(Owner(), QString(), QString::fromStdString(startFolder), QtFilter(filter),
                                   nullptr, QFileDialog::HideNameFilterDetails);
  if (chosen.isNull()) return std::nullopt;
  return chosen.toStdString();
}

bool QtDialogs::Open(const std::string& pathOrAddress) {
  const auto text = QString::fromStdString(pathOrAddress);
  if (HasScheme(text)) {
    QDesktopServices::openUrl(QUrl(text));
    return true;
  }
  if (!QFileInfo::exists(text)) return false;
  QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(text).absoluteFilePath()));
  return true;
}

void QtDialogs::ShowHourglass(bool shown) {
  if (shown == m_hourglass) return;  // the application stacks its pointers
  m_hourglass = shown;
  if (shown)
    QApplication::setOverrideCursor(Qt::WaitCursor);
  else
    QApplication::restoreOverrideCursor();
}

void QtDialogs::SetPendingCallText(const std::string& text, const std::string& title) {
  m_pendingCall = {.title = title, .text = text, .icon = BoxIcon::Exclamation};
}

}  // namespace norvane::console::shared
