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

namespace {

using tollbrook::SingleInstance;
using Folder = std::optional<std::filesystem::path>;

constexpr int wrongUse = 2;
constexpr int notOpened = 1;

// What is left of the bounded wait that closing the window began.
constexpr std::chrono::seconds lastWait{2};

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
  const std::filesystem::path path = tollbrook::Files::standardized(argv[argc - 1]);
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

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Tollbrook"));
  QApplication::setApplicationVersion(QStringLiteral(TOLLBROOK_VERSION));
  QApplication::setDesktopFileName(QStringLiteral("tollbrook"));
  QApplication::setWindowIcon(tollbrook::Icons::icon(tollbrook::Icons::Symbol::application));
  QApplication::setStyle(new tollbrook::Style);

  const auto folder = folderArgument(argc, argv);
  if (!folder) return wrongUse;
  SingleInstance instance(tollbrook::JobJournal::baseDirectory());
  if (!instance.isFirst()) return handOver(instance, *folder);

  tollbrook::TollbrookApp app;
  instance.listen([&app](const Folder& other) { return app.takeOver(other); });
  tollbrook::QuitSignals signals;
  QObject::connect(&signals, &tollbrook::QuitSignals::quitRequested, &app.window(), &QWidget::close);
  app.open(*folder);
  const int status = QApplication::exec();
  // A file that takes longer than anybody waits is left to the journal; its thread may not see what the end
  // of the program takes away.
  if (!app.model().stopAndWait(lastWait)) std::_Exit(status);
  return status;
}
