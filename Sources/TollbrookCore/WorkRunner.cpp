#include "TollbrookCore/WorkRunner.h"

#include <unistd.h>

#include <chrono>
#include <unordered_map>
#include <vector>

#include "TollbrookCore/FileRestorer.h"
#include "TollbrookCore/FolderWalker.h"
#include "TollbrookCore/SidecarParser.h"

namespace tollbrook::WorkRunner {
namespace {

using FolderWalker::Folder;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds betweenSaves(2);
constexpr std::int64_t filesPerReport = 5;

// The media files of one folder by the sidecar that each of them leads to.
using Claims = std::unordered_multimap<std::size_t, std::string>;

Claims claimsIn(const Folder& folder) {
  Claims claims;
  for (const std::string_view name : folder.mediaNames()) {
    if (const auto sidecar = folder.sidecars().match(name)) claims.emplace(*sidecar, name);
  }
  return claims;
}

class Run : public FolderWalker::Visitor {
 public:
  Run(const RestoreOptions& options, JobJournal& journal, std::int64_t totalHint,
      const std::function<bool()>& cancel, const std::function<void(const WorkProgress&)>& report,
      const EmbeddedWriter::Settings& writer)
      : options_(options), journal_(journal), cancel_(cancel), report_(report), restorer_(options, writer) {
    progress_.total = totalHint;
  }

  bool shouldCancel() override { return cancel_(); }

  void visit(Folder& folder, const char* name) override {
    if (cancel_()) {
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
    if (!data || !data->hasAnything()) {
      journal_.markDoneRelative(relative);
      return;
    }
    if (!restore(folder, name, *sidecar, *data)) return;
    saveIfDue();
    reportIfDue();
  }

  void leave(Folder& folder) override { claims_.erase(&folder); }

  RestoreOutcome finish() {
    if (cancel_()) {
      outcome_.cancelled = true;
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
    if (!skip && !(lock = FileRestorer::lockFolder(target.folder, cancel_))) {
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
      fail(failed->message);
      return true;
    }
    const auto& applied = std::get<MetadataWriter::Applied>(restored.result);
    if (applied.dates) ++outcome_.datesSet;
    if (applied.embedded) ++outcome_.embeddedWritten;
    ++progress_.written;
    if (options_.deleteSidecars && restored.sidecarIsSpent) deleteSidecar(folder, name, sidecar);
    lock.reset();
    if (restored.durable) {
      journal_.markDoneRelative(*progress_.currentName);
    } else {
      journal_.rememberRelative(*progress_.currentName);
    }
    return true;
  }

  void fail(const std::string& message) {
    ++outcome_.failed;
    ++progress_.failed;
    if (outcome_.errors.size() < mostErrorLines) {
      outcome_.errors.push_back(*progress_.currentName + ": " + message);
    }
  }

  void deleteSidecar(Folder& folder, std::string_view media, std::size_t sidecar) {
    if (isNeededByAnother(folder, media, sidecar)) return;
    const std::string& name = folder.sidecars().jsonNames()[sidecar];
    if (unlinkat(folder.descriptor(), name.c_str(), 0) == 0) ++outcome_.deletedSidecars;
  }

  // An edited copy or a duplicate shares the sidecar of its original.
  bool isNeededByAnother(Folder& folder, std::string_view media, std::size_t sidecar) {
    auto claims = claims_.find(&folder);
    if (claims == claims_.end()) claims = claims_.emplace(&folder, claimsIn(folder)).first;
    const auto [begin, end] = claims->second.equal_range(sidecar);
    for (auto claim = begin; claim != end; ++claim) {
      if (claim->second != media && !journal_.containsRelative(folder.relativePath(claim->second)))
        return true;
    }
    return false;
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
  Clock::time_point lastSave_ = Clock::now();
};

}  // namespace

RestoreOutcome run(const std::filesystem::path& root, bool recursive, const RestoreOptions& options,
                   JobJournal& journal, std::int64_t totalHint, const std::function<bool()>& shouldCancel,
                   const std::function<void(const WorkProgress&)>& progress,
                   const EmbeddedWriter::Settings& writer) {
  Run run(options, journal, totalHint, shouldCancel, progress, writer);
  FolderWalker::walk(root, recursive, run);
  return run.finish();
}

}  // namespace tollbrook::WorkRunner
