#pragma once

#include <QApplication>
#include <QFont>

namespace norvane::tests {

/// A user whose font is more than half as large again, during its lifetime.
class LargeFont {
 public:
  LargeFont() {
    auto font = m_usual;
    font.setPointSizeF(1.6 * m_usual.pointSizeF());
    QApplication::setFont(font);
  }
  ~LargeFont() { QApplication::setFont(m_usual); }
  LargeFont(const LargeFont&) = delete;
  LargeFont& operator=(const LargeFont&) = delete;

 private:
  const QFont m_usual = QApplication::font();
};

}  // namespace norvane::tests
