#pragma once

#include <QPlainTextEdit>
#include <QString>

namespace norvane::console::shared {

/// Shows a fetched page, its beginning at first and more when the user scrolls to the end, since a page may
/// have millions of lines, and each costs half a kilobyte and some microseconds. Copying gives the characters
/// of the page, but for newlines, which are all "\n".
class PageView : public QPlainTextEdit {
  Q_OBJECT

 public:
  static constexpr qsizetype MaxCharacters = 1 << 20;
  static constexpr int MaxLines = 20'000;

  explicit PageView(QWidget* parent = nullptr);

  void SetPage(const QString& text);
  /// How much of the page is shown and whether there is more; empty if that is all.
  [[nodiscard]] QString PartText() const;

 signals:
  /// More is shown.
  void Grown();

 protected:
  [[nodiscard]] QMimeData* createMimeDataFromSelection() const override;

 private:
  void ShowMore();
  [[nodiscard]] bool IsAtLimit() const;
  [[nodiscard]] qsizetype EndOfNextPart() const;

  QString m_page;
  qsizetype m_shown = 0;  ///< characters of it; each is one position of the document
};

}  // namespace norvane::console::shared
