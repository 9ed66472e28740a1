#include "console/ImageList.h"

#include <gtest/gtest.h>

#include <QImage>

namespace norvane::tests {
namespace {

TEST(ImageList, EachImageIsDrawn) {
  const console::ImageList images;
  for (const char* key : {"Pop3Monitor", "global", "MonitorItem", "WebMonitor", "ServerMonitor",
                          "SmtpMonitor", "Pop3Monitor_Stop", "SmtpMonitor_Stop", "WebMonitor_Stop"}) {
    SCOPED_TRACE(key);
    const auto picture = images.Image(key).pixmap(16, 16).toImage();
    ASSERT_EQ(picture.size(), QSize(16, 16));
    int drawn = 0;
    for (int y = 0; y < picture.height(); ++y)
      for (int x = 0; x < picture.width(); ++x)
        drawn += qAlpha(picture.pixel(x, y)) > 0;
    EXPECT_GT(drawn, 30);
  }
  EXPECT_TRUE(images.Image("FtpMonitor").isNull());
}

}  // namespace
}  // namespace norvane::tests
