// draw_icon DRAWING SIZE FILE: draws an SVG file as a square PNG file of SIZE pixels.

#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("Usage: draw_icon DRAWING SIZE FILE\n", stderr);
    return EXIT_FAILURE;
  }
  const int size = std::atoi(argv[2]);
  QSvgRenderer drawing(QString::fromLocal8Bit(argv[1]));
  QImage icon(size, size, QImage::Format_ARGB32_Premultiplied);
  icon.fill(Qt::transparent);
  QPainter painter(&icon);
  drawing.render(&painter);
  if (drawing.isValid() && icon.save(QString::fromLocal8Bit(argv[3]))) return EXIT_SUCCESS;
  std::fprintf(stderr, "draw_icon: %s cannot be drawn to %s\n", argv[1], argv[3]);
  return EXIT_FAILURE;
}
