#include <gtest/gtest.h>

#include <QApplication>

#include "Tollbrook/Style.h"

namespace {

QtMessageHandler usualHandler;

// That a platform without a display cannot raise a window is no news.
void printUnlessExpected(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (!message.startsWith(QLatin1String("This plugin does not support ")))
    usualHandler(type, context, message);
}

}  // namespace

// The main function of every desktop test: widgets need an application object before anything else. The tests
// draw into memory.
int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" TOLLBROOK_TEST_SCREEN);
  }
  usualHandler = qInstallMessageHandler(printUnlessExpected);
  testing::InitGoogleTest(&argc, argv);
  const QApplication application(argc, argv);
  QApplication::setStyle(new tollbrook::Style);
  // No hand clicks as soon as a test does.
  QApplication::setDoubleClickInterval(0);
  return RUN_ALL_TESTS();
}
