#include "console/shared/PageView.h"

#include <QLocale>
#include <QMimeData>
#include <QScrollBar>
#include <QTextCursor>
#include <algorithm>
#include <memory>

namespace norvane::console::shared {

namespace {
constexpr qsizetype PartCharacters = 1 << 16;
constexpr int PartLines = 1000;
}  // namespace

PageView::PageView(QWidget* parent) : QPlainTextEdit(parent) {
  for (const auto* bar :
       {verticalScrollBar(), horizontalScrollBar()})  // a line without a blank isn't wrapped
    connect(bar, &QScrollBar::valueChanged, this, [this, bar](int value) {
      const auto* lines = verticalScrollBar();
      if (value == bar->maximum() && lines->value() == lines->maximum()) ShowMore();
    });
}

void PageView::SetPage(const QString& text) {
  m_page = text;
  m_page.replace(QLatin1String("\r\n"), QLatin1String("\n"));  // which would be one position
  m_shown = 0;
  clear();
  ShowMore();
}

bool PageView::IsAtLimit() const {
  return m_shown >= MaxCharacters || blockCount() >= MaxLines;
}

qsizetype PageView::EndOfNextPart() const {
  auto end = std::min(m_page.size(), m_shown + PartCharacters);
  qsizetype newline = m_shown;
  for (int line = 0; line < PartLines && newline < end; ++line) {
    const auto next = m_page.indexOf(u'\n', newline);
    newline = next < 0 ? end : next + 1;
  }
  end = std::min(end, newline);
  const bool splitsPair = end < m_page.size() && m_page[end - 1].isHighSurrogate();
  return splitsPair ? end + 1 : end;
}

void PageView::ShowMore() {
  if (m_shown == m_page.size() || IsAtLimit()) return;
  const auto end = EndOfNextPart();
  QTextCursor cursor(document());
  cursor.movePosition(QTextCursor::End);
  cursor.insertText(m_page.mid(m_shown, end - m_shown));
  m_shown = end;
  emit Grown();
}

QString PageView::PartText() const {
  if (m_shown == m_page.size()) return {};
  const auto form = IsAtLimit() ? QStringLiteral("Only the first %1 of %2 characters can be shown")
                                : QStringLiteral("%1 of %2 characters; scroll down for more");
  return form.arg(QLocale(QLocale::English).toString(m_shown),
                  QLocale(QLocale::English).toString(m_page.size()));
}

/// The document's own way makes blanks of U+00A0.
QMimeData* PageView::createMimeDataFromSelection() const {
  const auto selection = textCursor();
  auto mime = std::make_unique<QMimeData>();
  mime->setText(
      m_page.mid(selection.selectionStart(), selection.selectionEnd() - selection.selectionStart()));
  return mime.release();
}

}  // namespace norvane::console::shared
