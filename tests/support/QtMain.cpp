#include <gtest/gtest.h>

#include <QApplication>

/// The `main` of test programs that drive windows.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");  // ctest lists the tests before it sets their environment
  const QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
