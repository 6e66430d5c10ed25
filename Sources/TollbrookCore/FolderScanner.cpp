#include "TollbrookCore/FolderScanner.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "TollbrookCore/FolderWalker.h"
#include "TollbrookCore/SidecarParser.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::FolderScanner {
namespace {

constexpr std::int64_t filesPerReport = 25;

class Scan : public FolderWalker::Visitor {
 public:
  Scan(std::int64_t pairCap, const std::function<bool()>& cancel,
       const std::function<void(std::int64_t)>& progress)
      : pairCap_(pairCap), cancel_(cancel), progress_(progress) {}

  bool shouldCancel() override { return cancel_(); }

  void visit(FolderWalker::Folder& folder, const char* mediaName) override {
    ++report_.mediaCount;
    if (report_.mediaCount % filesPerReport == 0 && progress_) progress_(report_.mediaCount);

    const auto& names = folder.sidecars().jsonNames();
    const std::optional<std::size_t> claimed = folder.sidecars().match(mediaName);
    std::optional<SidecarData> data;
    if (claimed) {
      folder.claimSidecar(*claimed);
      data = reader_.read(folder.descriptor(), names[*claimed].c_str());
      if (data && !data->hasAnything()) data.reset();
    }
    ++(data ? report_.matchedCount : report_.unmatchedCount);
    if (claimed && !data) ++report_.parseErrorCount;

    if (static_cast<std::int64_t>(report_.pairs.size()) < pairCap_) {
      keep(folder, mediaName, claimed ? &names[*claimed] : nullptr, std::move(data));
    } else {
      report_.listCapped = true;
    }
  }

  // A media file claims only in its own folder, so what is left over in each folder adds up to what is left
  // over.
  void leave(FolderWalker::Folder& folder) override {
    report_.orphanJSONCount +=
        static_cast<std::int64_t>(folder.sidecars().jsonNames().size() - folder.claimedSidecars());
  }

  ScanReport finish() {
    if (!report_.listCapped) sortByName(report_.pairs);
    if (progress_) progress_(report_.mediaCount);
    return std::move(report_);
  }

 private:
  void keep(const FolderWalker::Folder& folder, const char* mediaName, const std::string* sidecar,
            std::optional<SidecarData> data) {
    const PairStatus status = data ? PairStatus::ready : PairStatus::unmatched;
    std::optional<std::string> message;
    std::optional<std::filesystem::path> sidecarFile;
    if (sidecar != nullptr) {
      sidecarFile = folder.path() / *sidecar;
      if (!data) message = "Sidecar JSON could not be read";
    }
    report_.pairs.emplace_back(folder.path() / mediaName, std::move(sidecarFile),
                               inferMediaKind(fileExtension(mediaName)), std::move(data), status,
                               std::move(message));
  }

  static void sortByName(std::vector<MediaPair>& pairs) {
    const Text::NameOrder order;
    std::vector<std::string> keys;
    keys.reserve(pairs.size());
    for (const MediaPair& pair : pairs) keys.push_back(order.key(pair.media.filename().native()));
    std::vector<std::size_t> positions(pairs.size());
    std::iota(positions.begin(), positions.end(), std::size_t{0});
    std::stable_sort(positions.begin(), positions.end(),
                     [&](std::size_t a, std::size_t b) { return keys[a] < keys[b]; });
    std::vector<MediaPair> sorted;
    sorted.reserve(pairs.size());
    for (const std::size_t position : positions) sorted.push_back(std::move(pairs[position]));
    pairs = std::move(sorted);
  }

  std::int64_t pairCap_;
  const std::function<bool()>& cancel_;
  const std::function<void(std::int64_t)>& progress_;
  SidecarParser::Reader reader_;
  ScanReport report_;
};

}  // namespace

ScanReport scan(const std::filesystem::path& root, bool recursive, std::int64_t pairCap,
                const std::function<bool()>& shouldCancel,
                const std::function<void(std::int64_t)>& progress) {
  Scan scan(pairCap, shouldCancel, progress);
  FolderWalker::walk(root, recursive, scan);
  return scan.finish();
}

}  // namespace tollbrook::FolderScanner
