#include "Tollbrook/AppModel.h"

#include <QDeadlineTimer>
#include <QMetaObject>
#include <exception>
#include <system_error>
#include <utility>

#include "Tollbrook/Paths.h"
#include "Tollbrook/Summaries.h"
#include "TollbrookCore/FolderScanner.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/WorkRunner.h"

namespace tollbrook {
namespace {

// Secondary threads of macOS have half a megabyte; a deep tree is walked with that of a main thread.
constexpr unsigned stackBytes = 8U << 20U;

// Beside each other, since one at a disk that does not answer may last for ever.
constexpr int mostLookups = 8;

// Folders of this many files are not scanned again after a run.
constexpr std::int64_t tooManyToRescan = FolderScanner::previewLimit;

// The words of the system for what went wrong, without the names of calls.
QString description(const std::exception& error) {
  if (dynamic_cast<const JobJournal::Busy*>(&error) != nullptr) {
    return AppModel::tr("Another Tollbrook is writing this folder.");
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return QString::fromStdString(system->code().message());
  }
  return Paths::shownText(error.what());
}

// A disk that is not plugged in would else look like a folder with nothing to do.
void requireFolder(const std::filesystem::path& folder) {
  if (const std::error_code error = Files::folderError(folder)) throw std::system_error(error);
}

QString progressLine(const WorkProgress& progress) {
  QString line = AppModel::tr("Writing %1").arg(progress.seen);
  if (progress.total >= 1) line = AppModel::tr("Writing %1 of %2").arg(progress.seen).arg(progress.total);
  return line + QStringLiteral("  ") + Paths::shownText(progress.currentName.value_or(""));
}

QString firstError(const std::vector<std::string>& errors) {
  QString first = Paths::shownText(errors.front());
  if (errors.size() == 1) return first;
  // Both at once: the name of a file may hold a "%2".
  return AppModel::tr("%1 (+%2 more)").arg(first, QString::number(errors.size() - 1));
}

}  // namespace

// What a write run takes to its thread.
struct AppModel::Run {
  std::filesystem::path folder;
  bool recursive;
  RestoreOptions options;
  std::int64_t total;
  std::shared_ptr<JobJournal> journal;
};

AppModel::AppModel(KeepAwake& keepAwake, FolderChooser& folderChooser, QObject* parent)
    : QObject(parent),
      keepAwake_(keepAwake),
      folderChooser_(folderChooser),
      statusLine_(tr("Choose a folder of Google Photos downloads.")) {
  lookups_.setMaxThreadCount(mostLookups);
}

AppModel::~AppModel() {
  cancelFlag_.cancel();
  lookups_.waitForDone();
  if (worker_) worker_->wait();
}

const std::vector<MediaPair>& AppModel::pairs() const {
  static const std::vector<MediaPair> none;
  return report_ ? report_->pairs : none;
}

bool AppModel::canApply() const { return !isBusy() && folder_ && report_ && report_->matchedCount > 0; }

template <typename Value>
void AppModel::change(Value& property, const Value& value, void (AppModel::*changed)()) {
  if (property == value) return;
  property = value;
  Q_EMIT(this->*changed)();
}

void AppModel::setRecursive(bool recursive) { change(recursive_, recursive, &AppModel::recursiveChanged); }

void AppModel::setOptions(const RestoreOptions& options) {
  change(options_, options, &AppModel::optionsChanged);
}

void AppModel::setFilter(RowFilter filter) {
  if (filter == filter_) return;
  Q_EMIT visiblePairsAboutToChange();
  filter_ = filter;
  showVisiblePairs();
  Q_EMIT filterChanged();
}

void AppModel::setReport(std::optional<ScanReport> report) {
  if (!report && !report_) return;
  Q_EMIT visiblePairsAboutToChange();
  report_ = std::move(report);
  showVisiblePairs();
  Q_EMIT pairsChanged();
  Q_EMIT reportChanged();
}

void AppModel::showVisiblePairs() {
  visiblePairs_.clear();
  for (const MediaPair& pair : pairs()) {
    if (shows(filter_, pair.status)) visiblePairs_.push_back(&pair);
  }
  Q_EMIT visiblePairsChanged();
}

void AppModel::setOutcome(std::optional<RestoreOutcome> outcome) {
  if (!outcome && !outcome_) return;
  outcome_ = std::move(outcome);
  Q_EMIT outcomeChanged();
}

void AppModel::chooseFolder() {
  folderChooser_.choose(tr("Choose"),
                        tr("Pick a folder of Takeout or Ferrywell downloads. Nested folders are included."),
                        [this](const std::filesystem::path& folder) { setFolder(folder); });
}

void AppModel::setFolder(const std::filesystem::path& folder) {
  if (isBusy()) return;
  ++foldersSet_;
  postponed_.reset();
  change(folder_, std::optional(Files::standardized(folder)), &AppModel::folderChanged);
  setReport(std::nullopt);
  setOutcome(std::nullopt);
  change(lastError_, QString(), &AppModel::lastErrorChanged);
  change(resumeFolderName_, QString(), &AppModel::resumeFolderNameChanged);
  change(isResuming_, false, &AppModel::isResumingChanged);
  change(statusLine_, Paths::shown(*folder_), &AppModel::statusLineChanged);
  scan();
}

bool AppModel::acceptDrop(const QList<QUrl>& urls) {
  if (urls.isEmpty()) return false;
  ++drops_;
  lookups_.start([this, path = Paths::fromUrl(urls.front()), set = foldersSet_] {
    std::error_code ignored;
    onMainThread([this, folder = Paths::folderAt(path, ignored), set] { takeDrop(folder, set); });
  });
  return true;
}

// One that took long to be looked at comes too late where another folder has been set since.
void AppModel::takeDrop(const std::optional<std::filesystem::path>& folder, int setBefore) {
  --drops_;
  if (folder && setBefore == foldersSet_) setFolder(*folder);
  if (drops_ == 0 && postponed_) resume(std::exchange(postponed_, nullptr));
}

void AppModel::scan() {
  if (!folder_ || isBusy()) return;
  change(lastError_, QString(), &AppModel::lastErrorChanged);
  startScan();
}

void AppModel::startScan() {
  cancelFlag_.reset();
  change(isScanning_, true, &AppModel::isScanningChanged);
  change(progressDone_, std::int64_t{0}, &AppModel::progressDoneChanged);
  change(progressTotal_, std::int64_t{0}, &AppModel::progressTotalChanged);
  change(currentFile_, QString(), &AppModel::currentFileChanged);
  change(statusLine_, tr("Scanning nested folders…"), &AppModel::statusLineChanged);
  startWork([this, folder = *folder_, recursive = recursive_] { scanInBackground(folder, recursive); });
}

void AppModel::scanInBackground(const std::filesystem::path& folder, bool recursive) {
  try {
    requireFolder(folder);
    ScanReport report = FolderScanner::scan(
        folder, recursive, FolderScanner::previewLimit, [this] { return cancelFlag_.isSet(); },
        [this](std::int64_t mediaCount) {
          if (scanProgress_.put(mediaCount)) onMainThread([this] { showScanProgress(); });
        });
    onMainThread([this, report = std::move(report)]() mutable { finishScan(std::move(report)); });
  } catch (const std::exception& error) {
    onMainThread([this, text = description(error)] { failScan(text); });
  }
}

void AppModel::showScanProgress() {
  const auto mediaCount = scanProgress_.take();
  if (!mediaCount) return;
  change(progressDone_, *mediaCount, &AppModel::progressDoneChanged);
  change(statusLine_, tr("Scanning… %1 media files").arg(*mediaCount), &AppModel::statusLineChanged);
}

void AppModel::finishScan(ScanReport report) {
  setReport(std::move(report));
  endScan();
  change(statusLine_,
         cancelFlag_.isSet() ? tr("Scan stopped. Finished files from earlier runs are kept.")
                             : Summaries::of(*report_),
         &AppModel::statusLineChanged);
}

// The folder is gone or closed; or, since the engine answers with values, memory has run out.
void AppModel::failScan(const QString& error) {
  setReport(std::nullopt);
  endScan();
  // That of a run before it stays, which the user has not read yet.
  if (lastError_.isEmpty()) change(lastError_, error, &AppModel::lastErrorChanged);
  change(statusLine_, tr("Could not scan this folder."), &AppModel::statusLineChanged);
}

void AppModel::endScan() {
  change(isScanning_, false, &AppModel::isScanningChanged);
  change(progressDone_, std::int64_t{0}, &AppModel::progressDoneChanged);
  change(progressTotal_, std::int64_t{0}, &AppModel::progressTotalChanged);
}

void AppModel::apply(std::shared_ptr<JobJournal> journal) {
  if (!folder_ || isBusy() || (!journal && !canApply())) return;
  cancelFlag_.reset();
  change(isApplying_, true, &AppModel::isApplyingChanged);
  change(lastError_, QString(), &AppModel::lastErrorChanged);
  setOutcome(std::nullopt);
  change(progressDone_, std::int64_t{0}, &AppModel::progressDoneChanged);
  change(progressTotal_, report_ ? report_->mediaCount : 0, &AppModel::progressTotalChanged);
  change(statusLine_, isResuming_ ? tr("Resuming metadata write…") : tr("Writing metadata…"),
         &AppModel::statusLineChanged);
  activity_ = keepAwake_.begin(tr("Tollbrook is writing photo metadata"));

  auto run = std::make_shared<Run>(Run{*folder_, recursive_, options_, progressTotal_, std::move(journal)});
  if (run->journal) {
    const JobJournal::Record record = run->journal->record();
    run->recursive = record.recursive;
    run->options = record.options;
  }
  startWork([this, run] { writeInBackground(*run); });
}

void AppModel::writeInBackground(Run& run) {
  try {
    requireFolder(run.folder);
    if (!run.journal) run.journal = JobJournal::open(run.folder, run.recursive, run.options);
  } catch (const std::exception& error) {
    run.journal.reset();
    onMainThread([this, text = description(error)] { failApply(text); });
    return;
  }
  RestoreOutcome outcome;
  try {
    outcome = WorkRunner::run(
        run.folder, run.recursive, run.options, *run.journal, run.total,
        [this] { return cancelFlag_.isSet(); },
        [this](const WorkProgress& progress) {
          if (writeProgress_.put(progress)) onMainThread([this] { showWriteProgress(); });
        });
  } catch (const std::exception& error) {
    // No file does this: memory has run out, or a library is unusable. The job stays unfinished.
    outcome.failed = 1;
    outcome.errors.push_back(description(error).toStdString());
  }
  // The job is free again for anybody who hears of the end.
  run.journal.reset();
  onMainThread([this, outcome = std::move(outcome)]() mutable { finishApply(std::move(outcome)); });
}

void AppModel::showWriteProgress() {
  const auto progress = writeProgress_.take();
  if (!progress) return;
  change(progressDone_, progress->seen, &AppModel::progressDoneChanged);
  if (progress->total > 0) change(progressTotal_, progress->total, &AppModel::progressTotalChanged);
  change(currentFile_, Paths::shownText(progress->currentName.value_or("")), &AppModel::currentFileChanged);
  change(statusLine_, progressLine(*progress), &AppModel::statusLineChanged);
}

void AppModel::failApply(const QString& error) {
  endApply();
  change(lastError_, error, &AppModel::lastErrorChanged);
  change(statusLine_, tr("Could not start a recoverable job."), &AppModel::statusLineChanged);
}

void AppModel::finishApply(RestoreOutcome outcome) {
  endApply();
  setOutcome(std::move(outcome));
  change(statusLine_, Summaries::of(*outcome_), &AppModel::statusLineChanged);
  if (!outcome_->errors.empty()) {
    change(lastError_, firstError(outcome_->errors), &AppModel::lastErrorChanged);
  }
  const bool worthARescan = report_ && report_->mediaCount >= 1 && report_->mediaCount < tooManyToRescan &&
                            !report_->listCapped && !outcome_->cancelled;
  // The user has not read yet why the run failed, so its error stays.
  if (worthARescan) startScan();
}

void AppModel::endApply() {
  change(isApplying_, false, &AppModel::isApplyingChanged);
  change(isResuming_, false, &AppModel::isResumingChanged);
  activity_.reset();
}

void AppModel::stop() {
  cancelFlag_.cancel();
  change(statusLine_, tr("Stopping after the current file…"), &AppModel::statusLineChanged);
}

void AppModel::attemptAutoResume() {
  if (isBusy() || folder_) return;
  lookups_.start([this] {
    try {
      if (std::shared_ptr<JobJournal> journal = JobJournal::claimUnfinished()) {
        onMainThread([this, journal] { resume(journal); });
      }
    } catch (const std::exception&) {
      // Nobody asked for it: a job that another program has, or whose files cannot be opened, is passed over.
    }
  });
}

void AppModel::resume(std::shared_ptr<JobJournal> journal) {
  if (isBusy() || folder_) return;
  if (drops_ > 0) {
    postponed_ = std::move(journal);
    return;
  }
  const JobJournal::Record record = journal->record();
  change(folder_, std::optional(journal->root()), &AppModel::folderChanged);
  change(recursive_, record.recursive, &AppModel::recursiveChanged);
  change(options_, record.options, &AppModel::optionsChanged);
  change(resumeFolderName_, Paths::shownName(*folder_), &AppModel::resumeFolderNameChanged);
  change(isResuming_, true, &AppModel::isResumingChanged);
  change(statusLine_, tr("Continuing where you left off in %1…").arg(resumeFolderName_),
         &AppModel::statusLineChanged);
  apply(std::move(journal));
}

bool AppModel::stopAndWait(std::chrono::milliseconds limit) {
  const QDeadlineTimer deadline(limit);
  cancelFlag_.cancel();
  if (worker_ && !worker_->wait(deadline)) return false;
  return lookups_.waitForDone(static_cast<int>(deadline.remainingTime()));
}

void AppModel::startWork(std::function<void()> work) {
  if (worker_) worker_->wait();
  worker_.reset(QThread::create(std::move(work)));
  worker_->setObjectName(QStringLiteral("Tollbrook work"));
  worker_->setStackSize(stackBytes);
  worker_->start();
}

void AppModel::onMainThread(std::function<void()> call) {
  QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
}

}  // namespace tollbrook
