#include <gtest/gtest.h>

#include <QApplication>

#include "app/ApplicationIcon.h"

// Windows without a display, and an event loop that the tests start and end.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setWindowIcon(tessaline::ApplicationIcon::icon());
  return RUN_ALL_TESTS();
}
