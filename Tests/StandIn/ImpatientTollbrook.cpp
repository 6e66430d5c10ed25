#include <QTimer>

#include "Tollbrook/RunProgram.h"
#include "Tollbrook/TollbrookApp.h"

// The application with waits for its end that a test can sit out.
int main(int argc, char** argv) {
  const auto shorten = [](tollbrook::TollbrookApp& app) {
    app.window().findChild<QTimer*>(QStringLiteral("patience"))->setInterval(1);
  };
  return tollbrook::runProgram(argc, argv, {.onStart = shorten, .lastWait = std::chrono::milliseconds(1)});
}
