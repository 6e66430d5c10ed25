#include "FirstPaint.h"
#include "Tollbrook/Style.h"
#include "Tollbrook/TollbrookApp.h"

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QApplication::setStyle(new tollbrook::Style);
  tollbrook::TollbrookApp app;
  const tollbrook::bench::FirstPaint end(app.window());
  app.open(std::nullopt);
  return QApplication::exec();
}
