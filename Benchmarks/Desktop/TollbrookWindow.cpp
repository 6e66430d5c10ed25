#include "FirstPaint.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Style.h"
#include "Tollbrook/TollbrookApp.h"

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QApplication::setWindowIcon(tollbrook::Icons::icon(tollbrook::Icons::Symbol::application));
  QApplication::setStyle(new tollbrook::Style);
  tollbrook::TollbrookApp app;
  const tollbrook::bench::FirstPaint end(app.window());
  app.open(std::nullopt);
  return QApplication::exec();
}
