#include <QMainWindow>

#include "FirstPaint.h"

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QMainWindow window;
  const tollbrook::bench::FirstPaint end(window);
  window.resize(980, 660);
  window.show();
  return QApplication::exec();
}
