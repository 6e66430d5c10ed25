#include <QTemporaryDir>
#include <optional>

#include "FirstPaint.h"
#include "Tollbrook/RunProgram.h"
#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/JobJournal.h"

// The program as it is, on a job store of its own.
int main(int argc, char** argv) {
  const QTemporaryDir store;
  tollbrook::JobJournal::setBaseDirectoryOverride(store.path().toStdString());
  std::optional<tollbrook::bench::FirstPaint> end;
  return tollbrook::runProgram(argc, argv,
                               {.onStart = [&](tollbrook::TollbrookApp& app) { end.emplace(app.window()); }});
}
