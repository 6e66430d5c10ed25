#include "Tollbrook/RunProgram.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTextStream>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "Tollbrook/Icons.h"
#include "Tollbrook/Paths.h"
#include "Tollbrook/QuitSignals.h"
#include "Tollbrook/SingleInstance.h"
#include "Tollbrook/Style.h"
#include "Tollbrook/TollbrookApp.h"
#include "TollbrookCore/JobJournal.h"

namespace tollbrook {
namespace {

using Folder = std::optional<std::filesystem::path>;

constexpr std::string_view endOfOptions = "--";

constexpr int wrongUse = 2;
constexpr int notOpened = 1;

void complain(const QString& text) { QTextStream(stderr) << "Tollbrook: " << text << Qt::endl; }

// Answers what asks for no window, and ends the program then.
void parseArguments(QCommandLineParser& parser) {
  parser.setApplicationDescription(
      QApplication::tr("Puts the dates, positions and captions of an exported photo library back into its "
                       "files."));
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addPositionalArgument(
      QStringLiteral("folder"),
      QApplication::tr("Opens this folder. Started without one, it continues unfinished work."),
      QStringLiteral("[folder]"));
  parser.process(*QCoreApplication::instance());
}

// Whether the arguments want words, for which no display has to be there.
bool asksForWords(int argc, char** argv) {
  constexpr std::array<std::string_view, 5> words{"-h", "--help", "--help-all", "-v", "--version"};
  char** const end = std::find(argv + 1, argv + argc, endOfOptions);
  return std::find_first_of(argv + 1, end, words.begin(), words.end()) != end;
}

// The folder in the arguments, or the folder of the file there. Nothing, after saying why, when it is
// missing.
std::optional<Folder> folderArgument(char** argv) {
  QCommandLineParser parser;
  parseArguments(parser);
  const auto count = parser.positionalArguments().size();
  if (count == 0) return Folder();
  if (count > 1) {
    complain(QApplication::tr("one folder at a time"));
    return std::nullopt;
  }
  // The bytes as they came: Qt's text of an argument loses those that are no UTF-8.
  const bool afterTheOptions = std::string_view(argv[1]) == endOfOptions;
  const std::string_view given = argv[afterTheOptions ? 2 : 1];
  if (given.empty()) {
    complain(QApplication::tr("the folder's name is empty"));
    return std::nullopt;
  }
  std::error_code error;
  Folder folder = Paths::folderAt(given, error);
  if (folder) return folder;
  complain(Paths::shownText(std::string(given) + ": " + error.message()));
  return std::nullopt;
}

// The status to end with; none when this one is, or has become, the first.
std::optional<int> handOver(SingleInstance& instance, const Folder& folder) {
  if (instance.isFirst()) return std::nullopt;
  const auto answer = instance.handOver(folder);
  if (instance.isFirst()) return std::nullopt;
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
  QCoreApplication::setApplicationName(QStringLiteral("Tollbrook"));
  QCoreApplication::setApplicationVersion(QStringLiteral(TOLLBROOK_VERSION));
  if (asksForWords(argc, argv)) {
    const QCoreApplication withoutDisplay(argc, argv);
    QCommandLineParser parser;
    parseArguments(parser);
  }
  const QApplication application(argc, argv);
  QApplication::setDesktopFileName(QStringLiteral("tollbrook"));
  QApplication::setWindowIcon(Icons::icon(Icons::Symbol::application));
  QApplication::setStyle(new Style);

  const auto folder = folderArgument(argv);
  if (!folder) return wrongUse;
  SingleInstance instance(JobJournal::baseDirectory());
  if (const auto status = handOver(instance, *folder)) return *status;

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
