#include "console/shared/QtDialogs.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMessageBox>
#include <QProcess>
#include <QRegularExpression>
#include <QScrollArea>
#include <QStandardPaths>
#include <QUrl>
#include <utility>

#include "console/shared/FitScreen.h"

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

/// QDesktopServices starts this too, but doesn't look how it ends.
void OpenUrl(const QUrl& url, std::function<void()> notOpened) {
  constexpr int toolMissing = 3;
  constexpr int actionFailed = 4;
  const auto opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
  if (opener.isEmpty()) {
    if (!QDesktopServices::openUrl(url)) notOpened();
    return;
  }
  auto* process = new QProcess(qApp);  // it may last as long as the browser
  QObject::connect(process, &QProcess::finished, process,
                   [process, notOpened = std::move(notOpened)](int code, QProcess::ExitStatus status) {
                     process->deleteLater();
                     if (status == QProcess::NormalExit && (code == toolMissing || code == actionFailed))
                       notOpened();
                   });
  process->setStandardInputFile(QProcess::nullDevice());
  process->setStandardOutputFile(QProcess::nullDevice());
  process->setStandardErrorFile(QProcess::nullDevice());
  process->start(opener, {url.toString(QUrl::FullyEncoded)});
}

/// With places to break lines in long names, which would be cut off otherwise.
QString Breakable(QString text) {
  static const QRegularExpression longWord(QStringLiteral("(\\S{40})(?=\\S)"));
  return text.replace(longWord, QStringLiteral("\\1\u200b"));
}

/// A text that makes the box higher than the screen scrolls.
class ScrollingBox final : public QMessageBox {
 public:
  using QMessageBox::QMessageBox;

 protected:
  void showEvent(QShowEvent* event) override {
    QMessageBox::showEvent(event);  // which gives it its size
    const int excess = height() - MaxInside(*this).height();
    auto* label = findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    if (excess <= 0 || label == nullptr) return;
    const auto whole = label->size();
    auto* area = NewScrollArea(this);
    delete layout()->replaceWidget(label, area);
    label->setFixedSize(whole);
    area->setWidget(label);
    area->setFixedSize(WithScrollBars(whole, {QWIDGETSIZE_MAX, whole.height() - excess}));
    area->setFocusPolicy(Qt::StrongFocus);  // for the keys that scroll
    layout()->activate();
    setFixedSize(width(), MaxInside(*this).height());
  }
};

/// A single letter and a colon is a drive, not a scheme.
bool HasScheme(const QString& text) {
  static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]+:"));
  return scheme.match(text).hasMatch();
}
}  // namespace

std::unique_ptr<QMessageBox> QtDialogs::MakeMessageBox(const Box& box) {
  auto message = std::make_unique<ScrollingBox>(Owner());
  message->setTextFormat(Qt::PlainText);
  message->setWindowTitle(QString::fromStdString(box.title));
  message->setText(Breakable(QString::fromStdString(box.text)));
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

void QtDialogs::Open(const std::string& pathOrAddress, std::function<void()> notOpened) {
  const auto text = QString::fromStdString(pathOrAddress);
  const bool isAddress = HasScheme(text);
  if (!isAddress && !QFileInfo::exists(text)) return notOpened();
  OpenUrl(isAddress ? QUrl(text) : QUrl::fromLocalFile(QFileInfo(text).absoluteFilePath()),
          std::move(notOpened));
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
