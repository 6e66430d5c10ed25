#include <QApplication>

#include "Tollbrook/RunProgram.h"

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  return tollbrook::runProgram(argc, argv);
}
