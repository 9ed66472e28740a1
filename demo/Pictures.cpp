#include "demo/Pictures.h"

#include <QImage>
#include <QPainter>
#include <QTest>
#include <QWidget>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace norvane::demo {

namespace {
constexpr int BarHeight = 26;
constexpr QRgb BarColour = 0xff2f3b4b;

/// What a window manager would draw around it.
QImage Framed(const QWidget& window, const QPixmap& content) {
  QImage picture(content.width() + 2, content.height() + BarHeight + 1, QImage::Format_RGB32);
  picture.fill(BarColour);
  QPainter painter(&picture);
  auto font = window.font();
  font.setBold(true);
  painter.setFont(font);
  painter.setPen(Qt::white);
  painter.drawText(0, 0, picture.width(), BarHeight, Qt::AlignCenter, window.windowTitle());
  painter.drawPixmap(1, BarHeight, content);
  return picture;
}
bool AreClose(QRgb left, QRgb right) {
  constexpr int Unseen = 3;
  return std::abs(qRed(left) - qRed(right)) < Unseen && std::abs(qGreen(left) - qGreen(right)) < Unseen &&
         std::abs(qBlue(left) - qBlue(right)) < Unseen;
}

/// With a table of its most frequent colours, which makes half the file: a window has few of them besides the
/// blends at the edges of letters.
QImage Reduced(const QImage& picture) {
  constexpr int MaxColours = 256;
  std::map<QRgb, int> counts;
  for (int y = 0; y < picture.height(); ++y)
    for (int x = 0; x < picture.width(); ++x)
      ++counts[picture.pixel(x, y)];
  std::vector<std::pair<int, QRgb>> byCount;
  for (const auto& [colour, count] : counts)
    byCount.emplace_back(count, colour);
  std::sort(byCount.rbegin(), byCount.rend());
  QList<QRgb> table;
  for (const auto& [count, colour] : byCount) {
    const bool isTaken = std::any_of(table.begin(), table.end(),
                                     [colour = colour](QRgb known) { return AreClose(known, colour); });
    if (!isTaken && table.size() < MaxColours) table.push_back(colour);
  }
  return picture.convertToFormat(QImage::Format_Indexed8, table);
}
}  // namespace

Pictures::Pictures(const std::string& folder) : m_folder(folder) {
  std::filesystem::create_directories(folder);
}

void Pictures::Capture(QWidget& window, const std::string& name) {
  if (!QTest::qWaitForWindowExposed(&window)) throw std::runtime_error("no window to picture: " + name);
  const auto file = m_folder + "/" + name + ".png";
  const auto content = window.grab();
  const bool isBare = window.windowFlags().testFlag(Qt::FramelessWindowHint);
  const auto picture = isBare ? content.toImage() : Framed(window, content);
  constexpr int Smallest = 0;  // of what PNG calls quality
  if (!Reduced(picture.convertToFormat(QImage::Format_RGB32))
           .save(QString::fromStdString(file), "PNG", Smallest))
    throw std::runtime_error("can not write " + file);
  ++m_count;
}

}  // namespace norvane::demo
