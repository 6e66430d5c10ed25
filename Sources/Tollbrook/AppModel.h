#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QThread>
#include <QThreadPool>
#include <QUrl>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Tollbrook/Desktop/FolderChooser.h"
#include "Tollbrook/Desktop/KeepAwake.h"
#include "Tollbrook/Latest.h"
#include "Tollbrook/RowFilter.h"
#include "TollbrookCore/CancelFlag.h"
#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Models.h"

namespace tollbrook {

/// What the window shows and what it can do: the chosen folder, the options, the last scan and the running
/// write. Views read the properties and call the operations. Main thread only; a scan or a write runs on one
/// background thread, which shares nothing with the model but the cancel flag and the newest progress, and
/// posts what it has to say.
///
/// A property's signal is emitted after the property has changed, and only then.
class AppModel : public QObject {
  Q_OBJECT

 public:
  /// The services must outlive the model.
  AppModel(KeepAwake& keepAwake, FolderChooser& folderChooser, QObject* parent = nullptr);
  /// Stops the work and waits for its end; see stopAndWait for a limit.
  ~AppModel() override;

  const std::optional<std::filesystem::path>& folder() const { return folder_; }
  bool recursive() const { return recursive_; }
  const RestoreOptions& options() const { return options_; }
  RowFilter filter() const { return filter_; }
  /// The pairs of the last scan.
  const std::vector<MediaPair>& pairs() const;
  const std::optional<ScanReport>& report() const { return report_; }
  const std::optional<RestoreOutcome>& outcome() const { return outcome_; }
  bool isScanning() const { return isScanning_; }
  bool isApplying() const { return isApplying_; }
  /// Whether it scans or writes.
  bool isBusy() const { return isScanning_ || isApplying_; }
  /// Whether the running write continues an unfinished job.
  bool isResuming() const { return isResuming_; }
  std::int64_t progressDone() const { return progressDone_; }
  /// 0 while it is unknown.
  std::int64_t progressTotal() const { return progressTotal_; }
  const QString& currentFile() const { return currentFile_; }
  const QString& statusLine() const { return statusLine_; }
  /// Empty when there was none.
  const QString& lastError() const { return lastError_; }
  /// The name of the folder whose unfinished job was continued last, until another is chosen; may be empty.
  const QString& resumeFolderName() const { return resumeFolderName_; }

  /// Whether there is something to write and nothing in the way.
  bool canApply() const;
  /// The pairs that the filter shows, in the order of pairs(). The pointers are good until
  /// visiblePairsAboutToChange.
  const std::vector<const MediaPair*>& visiblePairs() const { return visiblePairs_; }

  /// These take effect with the next scan or run.
  void setRecursive(bool recursive);
  void setOptions(const RestoreOptions& options);
  void setFilter(RowFilter filter);

  /// Lets the user pick a folder, and sets it.
  void chooseFolder();
  /// Makes `folder` the folder and scans it. Nothing while it is busy.
  void setFolder(const std::filesystem::path& folder);
  /// Takes the first of what was dropped on the window: a folder, or a file's folder. False when nothing was
  /// dropped; what does not exist is ignored later, since looking may take a while.
  bool acceptDrop(const QList<QUrl>& urls);
  /// Scans the folder again. Nothing without one, or while it is busy.
  void scan();
  /// Starts a new write run when canApply, or continues an unfinished job, whose lock `journal` holds.
  void apply(std::shared_ptr<JobJournal> journal = nullptr);
  /// Asks the work to stop after the file in hand.
  void stop();
  /// Looks for an unfinished job and continues it, unless a folder is set or chosen meanwhile.
  void attemptAutoResume();

  /// Stops the work and waits for its end, for a program that is about to end. False when it is still going
  /// on after `limit`; the model must not be destroyed then, since that would wait on.
  bool stopAndWait(std::chrono::milliseconds limit);

 Q_SIGNALS:
  void folderChanged();
  void recursiveChanged();
  void optionsChanged();
  void filterChanged();
  void pairsChanged();
  void reportChanged();
  void outcomeChanged();
  void isScanningChanged();
  void isApplyingChanged();
  void isResumingChanged();
  void progressDoneChanged();
  void progressTotalChanged();
  void currentFileChanged();
  void statusLineChanged();
  void lastErrorChanged();
  void resumeFolderNameChanged();
  /// Around every change of visiblePairs.
  void visiblePairsAboutToChange();
  void visiblePairsChanged();

 private:
  struct Run;

  template <typename Value>
  void change(Value& property, const Value& value, void (AppModel::*changed)());

  void setReport(std::optional<ScanReport> report);
  void setOutcome(std::optional<RestoreOutcome> outcome);
  void showVisiblePairs();

  void takeDrop(const std::optional<std::filesystem::path>& folder, int setBefore);
  void resume(std::shared_ptr<JobJournal> journal);

  void startScan();
  void startWork(std::function<void()> work);
  void onMainThread(std::function<void()> call);
  void scanInBackground(const std::filesystem::path& folder, bool recursive);
  void writeInBackground(Run& run);

  void showScanProgress();
  void finishScan(ScanReport report);
  void failScan(const QString& error);
  void endScan();
  void showWriteProgress();
  void failApply(const QString& error);
  void finishApply(RestoreOutcome outcome);
  void endApply();

  KeepAwake& keepAwake_;
  FolderChooser& folderChooser_;

  std::optional<std::filesystem::path> folder_;
  bool recursive_ = true;
  RestoreOptions options_ = defaultRestoreOptions();
  RowFilter filter_ = RowFilter::all;
  std::optional<ScanReport> report_;
  std::vector<const MediaPair*> visiblePairs_;
  std::optional<RestoreOutcome> outcome_;
  bool isScanning_ = false;
  bool isApplying_ = false;
  bool isResuming_ = false;
  std::int64_t progressDone_ = 0;
  std::int64_t progressTotal_ = 0;
  QString currentFile_;
  QString statusLine_;
  QString lastError_;
  QString resumeFolderName_;

  int foldersSet_ = 0;                     ///< how often the folder was set
  int drops_ = 0;                          ///< that are being looked at
  std::shared_ptr<JobJournal> postponed_;  ///< the job to continue if they come to nothing

  CancelFlag cancelFlag_;
  std::unique_ptr<KeepAwake::Activity> activity_;
  Latest<std::int64_t> scanProgress_;
  Latest<WorkProgress> writeProgress_;
  std::unique_ptr<QThread> worker_;  ///< the scan or the write
  QThreadPool lookups_{this};        ///< short looks at the disk
};

}  // namespace tollbrook
