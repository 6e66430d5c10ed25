#include "Tollbrook/RunProgram.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTextStream>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "Tollbrook/Icons.h"
#include "Tollbrook/QuitSignals.h"
#include "Tollbrook/SingleInstance.h"
#include "Tollbrook/Style.h"
#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {
namespace {

using Folder = std::optional<std::filesystem::path>;

constexpr int wrongUse = 2;
constexpr int notOpened = 1;

int complain(const QString& text) {
  QTextStream(stderr) << "Tollbrook: " << text << Qt::endl;
  return wrongUse;
}

// The folder in the arguments, or the folder of the file there. Nothing, after saying why, when it is
// missing.
std::optional<Folder> folderArgument(int argc, char** argv) {
  QCommandLineParser parser;
  parser.setApplicationDescription(
      QApplication::tr("Puts the dates, positions and captions of an exported photo library back into its "
                       "files."));
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addPositionalArgument(QStringLiteral("folder"), QApplication::tr("Opens this folder."),
                               QStringLiteral("[folder]"));
  parser.process(*qApp);
  const auto count = parser.positionalArguments().size();
  if (count == 0) return Folder();
  if (count > 1) {
    complain(QApplication::tr("one folder at a time"));
    return std::nullopt;
  }
  // The bytes as they came: Qt's text of an argument loses those that are no UTF-8.
  const std::filesystem::path path = Files::standardized(argv[argc - 1]);
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error || !std::filesystem::exists(status)) {
    complain(QString::fromStdString(path.string() + ": " + error.message()));
    return std::nullopt;
  }
  return std::filesystem::is_directory(status) ? path : path.parent_path();
}

int handOver(const SingleInstance& instance, const Folder& folder) {
  const auto answer = instance.handOver(folder);
  if (!answer) {
    complain(QApplication::tr("another Tollbrook is running and does not answer"));
    return notOpened;
  }
  if (*answer == SingleInstance::Answer::busy) {
    complain(QApplication::tr("its window is busy with another folder"));
    return notOpened;
  }
  return EXIT_SUCCESS;
}

}  // namespace

int runProgram(int argc, char** argv, const RunSettings& settings) {
  QApplication::setApplicationName(QStringLiteral("Tollbrook"));
  QApplication::setApplicationVersion(QStringLiteral(TOLLBROOK_VERSION));
  QApplication::setDesktopFileName(QStringLiteral("tollbrook"));
  QApplication::setWindowIcon(Icons::icon(Icons::Symbol::application));
  QApplication::setStyle(new Style);

  const auto folder = folderArgument(argc, argv);
  if (!folder) return wrongUse;
  SingleInstance instance(JobJournal::baseDirectory());
  if (!instance.isFirst()) return handOver(instance, *folder);

  TollbrookApp app;
  if (settings.onStart) settings.onStart(app);
  instance.listen([&app](const Folder& other) { return app.takeOver(other); });
  QuitSignals signals;
  QObject::connect(&signals, &QuitSignals::quitRequested, &app.window(), &QWidget::close);
  app.open(*folder);
  const int status = QApplication::exec();
  // A file that takes longer than anybody waits is left to the journal; its thread may not see what the end
  // of the program takes away.
  if (!app.model().stopAndWait(settings.lastWait)) std::_Exit(status);
  return status;
}

}  // namespace tollbrook
