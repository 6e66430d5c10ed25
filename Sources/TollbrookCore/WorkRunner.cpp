#include "TollbrookCore/WorkRunner.h"

#include <unistd.h>

#include <chrono>
#include <unordered_map>
#include <vector>

#include "TollbrookCore/FileRestorer.h"
#include "TollbrookCore/FolderWalker.h"
#include "TollbrookCore/SidecarParser.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::WorkRunner {
namespace {

using FolderWalker::Folder;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds betweenSaves(2);
constexpr std::int64_t filesPerReport = 5;

// Who needs which sidecar of one folder.
struct Claims {
  explicit Claims(const Folder& folder) {
    for (const std::string_view name : folder.mediaNames()) {
      if (const auto sidecar = folder.sidecars().match(name)) ++open[*sidecar];
    }
  }
  /// By the sidecar's position: how many media files lead to it and have not got all of it in this run.
  std::unordered_map<std::size_t, std::size_t> open;
};

class Run : public FolderWalker::Visitor {
 public:
  Run(const std::filesystem::path& root, const RestoreOptions& options, JobJournal& journal,
      std::int64_t totalHint, const std::function<bool()>& cancel,
      const std::function<void(const WorkProgress&)>& report, const EmbeddedWriter::Settings& writer)
      : root_(Files::standardized(root)),
        options_(options),
        journal_(journal),
        cancel_(cancel),
        report_(report),
        restorer_(options, writer) {
    progress_.total = totalHint;
  }

  bool shouldCancel() override {
    stopped_ = stopped_ || cancel_();
    return stopped_;
  }

  void visit(Folder& folder, const char* name) override {
    if (shouldCancel()) {
      outcome_.cancelled = true;
      return;
    }
    ++progress_.seen;
    const std::string relative = folder.relativePath(name);
    progress_.currentName = relative;
    if (journal_.containsRelative(relative)) {
      ++outcome_.alreadyDone;
      ++progress_.skipped;
      reportIfDue();
      return;
    }
    startWriting();
    const std::optional<std::size_t> sidecar = folder.sidecars().match(name);
    const std::optional<SidecarData> data =
        sidecar ? reader_.read(folder.descriptor(), folder.sidecars().jsonNames()[*sidecar].c_str())
                : std::nullopt;
    if (sidecar && reader_.hasFailed()) {
      // Not finished: what could not be read now may be readable next time.
      sawEverything_ = false;
      fail(relative, "Could not be read");
      return;
    }
    if (!data || !data->hasAnything()) {
      journal_.markDoneRelative(relative);
      return;
    }
    if (!restore(folder, name, *sidecar, *data)) return;
    saveIfDue();
    reportIfDue();
  }

  void leave(Folder& folder) override { claims_.erase(&folder); }

  void lost(const std::filesystem::path& path) override {
    sawEverything_ = false;
    fail(path.lexically_relative(root_).native(), "Could not be read");
  }

  RestoreOutcome finish(bool sawRoot) {
    if (shouldCancel()) {
      outcome_.cancelled = true;
      saveCounts();
    } else if (!sawRoot || !sawEverything_) {
      // Not complete: what could not be read may be readable next time.
      saveCounts();
    } else {
      journal_.markComplete();
    }
    if (report_) report_(progress_);
    restorer_.close();
    return std::move(outcome_);
  }

 private:
  // False when the run was cancelled while another program wrote in the folder.
  bool restore(Folder& folder, const char* name, std::size_t sidecar, const SidecarData& data) {
    const FileRestorer::Target target{
        .path = folder.path() / name, .folder = folder.descriptor(), .name = name};
    const bool skip = restorer_.isToBeSkipped(target, data);
    std::optional<Files::Lock> lock;
    if (!skip && !(lock = FileRestorer::lockFolder(target.folder, [this] { return shouldCancel(); }))) {
      outcome_.cancelled = true;
      return false;
    }
    ++outcome_.attempted;
    if (skip) {
      ++outcome_.skipped;
      ++progress_.skipped;
      journal_.markDoneRelative(*progress_.currentName);
      return true;
    }
    const FileRestorer::Outcome restored = restorer_.write(target, data);
    if (const auto* failed = std::get_if<MetadataWriter::Failed>(&restored.result)) {
      std::error_code ignored;
      sawEverything_ = sawEverything_ && Files::isAt(target.folder, folder.path(), ignored);
      fail(*progress_.currentName, failed->message);
      return true;
    }
    count(std::get<MetadataWriter::Applied>(restored.result));
    if (options_.deleteSidecars && restored.sidecarIsSpent) deleteSidecar(folder, sidecar);
    lock.reset();
    if (restored.durable) {
      journal_.markDoneRelative(*progress_.currentName);
    } else {
      journal_.rememberRelative(*progress_.currentName);
    }
    return true;
  }

  void count(const MetadataWriter::Applied& applied) {
    if (applied.dates) ++outcome_.datesSet;
    if (applied.embedded) ++outcome_.embeddedWritten;
    ++progress_.written;
  }

  void fail(const std::string& name, const std::string& message) {
    ++outcome_.failed;
    ++progress_.failed;
    if (outcome_.errors.size() < mostErrorLines) outcome_.errors.push_back(name + ": " + message);
  }

  // An edited copy or a duplicate shares the sidecar of its original: it goes with the last of them, and only
  // when this run put all of it into each.
  void deleteSidecar(Folder& folder, std::size_t sidecar) {
    Claims& claims = claims_.try_emplace(&folder, folder).first->second;
    if (--claims.open[sidecar] > 0) return;
    const std::string& name = folder.sidecars().jsonNames()[sidecar];
    if (unlinkat(folder.descriptor(), name.c_str(), 0) == 0) ++outcome_.deletedSidecars;
  }

  // A job that was complete is unfinished again from its first new file on, so that a crash is resumed.
  void startWriting() {
    if (!started_) journal_.markWriting();
    started_ = true;
  }

  void saveIfDue() {
    if (Clock::now() - lastSave_ <= betweenSaves) return;
    saveCounts();
    lastSave_ = Clock::now();
  }

  // A file that got both its dates and its embedded metadata counts twice as written, as it always has in
  // this record.
  void saveCounts() {
    journal_.note(outcome_.datesSet + outcome_.embeddedWritten, outcome_.skipped, outcome_.failed,
                  outcome_.alreadyDone);
  }

  void reportIfDue() const {
    if (report_ && (progress_.seen == 1 || progress_.seen % filesPerReport == 0)) report_(progress_);
  }

  const std::filesystem::path root_;
  const RestoreOptions options_;
  JobJournal& journal_;
  const std::function<bool()>& cancel_;
  const std::function<void(const WorkProgress&)>& report_;
  FileRestorer restorer_;
  SidecarParser::Reader reader_;
  RestoreOutcome outcome_;
  WorkProgress progress_;
  std::unordered_map<const Folder*, Claims>
      claims_;  ///< of the folders the walk is in, made when first asked for
  bool started_ = false;
  bool stopped_ = false;
  bool sawEverything_ = true;
  Clock::time_point lastSave_ = Clock::now();
};

}  // namespace

RestoreOutcome run(const std::filesystem::path& root, bool recursive, const RestoreOptions& options,
                   JobJournal& journal, std::int64_t totalHint, const std::function<bool()>& shouldCancel,
                   const std::function<void(const WorkProgress&)>& progress,
                   const EmbeddedWriter::Settings& writer) {
  Run run(root, options, journal, totalHint, shouldCancel, progress, writer);
  const bool sawRoot = FolderWalker::walk(root, recursive, run);
  return run.finish(sawRoot);
}

}  // namespace tollbrook::WorkRunner
