#include "TollbrookCore/FolderWalker.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <initializer_list>
#include <limits>
#include <thread>

#include "TollbrookCore/Models.h"
#include "TollbrookCore/Support/Platform.h"
#include "TollbrookCore/TemporaryNames.h"

namespace tollbrook::FolderWalker {
namespace {

// When a program dies, the lock on its folder goes a moment before the exiftool that it had running; taking a
// file away from an exiftool that is about to rename it would lose the photo. Whatever rests for this long
// has nobody.
constexpr std::chrono::milliseconds exifToolRest(250);

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool isHidden(std::string_view name) { return name.starts_with('.'); }

bool isMediaName(std::string_view name) { return isMedia(inferMediaKind(fileExtension(name))); }

bool looksLikeLeftover(std::string_view name) {
  if (!name.starts_with(TemporaryNames::builtInPrefix) &&
      name.find(TemporaryNames::exifToolSuffix) == std::string_view::npos) {
    return false;
  }
  return !SidecarMatcher::isJsonFilename(name) && (isHidden(name) || !isMediaName(name));
}

// The type that readdir may leave unknown.
unsigned char typeOf(int directory, const char* name, unsigned char type) {
  if (type != DT_UNKNOWN) return type;
  struct stat status {};
  if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  if (S_ISREG(status.st_mode)) return DT_REG;
  return S_ISDIR(status.st_mode) ? DT_DIR : DT_UNKNOWN;
}

// Enough of a file to see that somebody is still at work on it.
struct FileState {
  TimePoint lastChange;
  std::int64_t size;

  bool operator==(const FileState&) const = default;
};

// None when it is no regular file.
std::optional<FileState> stateOf(int directory, const char* name) {
  struct stat status {};
  if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  return FileState{Platform::lastChange(status), status.st_size};
}

// When exiftool cannot rename its new file over the original, it removes that and renames again. If it was
// ended in between, the new file is all that is left of the photo; nobody else's leftover is as large.
bool isOnlyCopy(int directory, std::string_view name, const FileState& state) {
  constexpr std::int64_t smallestPhoto = 1024;
  if (!name.ends_with(TemporaryNames::exifToolSuffix) || state.size < smallestPhoto) return false;
  name.remove_suffix(TemporaryNames::exifToolSuffix.size());
  return isMediaName(name) && !stateOf(directory, std::string(name).c_str());
}

}  // namespace

Folder::Folder(std::filesystem::path path, std::string relative, Files::Descriptor descriptor)
    : path_(std::move(path)), relative_(std::move(relative)), descriptor_(std::move(descriptor)) {}

std::string Folder::relativePath(std::string_view name) const {
  std::string result;
  result.reserve(relative_.size() + 1 + name.size());
  if (!relative_.empty()) result.append(relative_).push_back('/');
  return result.append(name);
}

int Folder::descriptor() {
  if (descriptor_) return descriptor_.get();
  Files::Descriptor again = Files::openFolder(path_);
  struct stat status {};
  // Under the same path there may be another folder by now.
  if (!again || fstat(again.get(), &status) != 0 || status.st_dev != device_ || status.st_ino != inode_)
    return -1;
  descriptor_ = std::move(again);
  return descriptor_.get();
}

const SidecarMatcher::Index& Folder::sidecars() const {
  if (!sidecars_) {
    std::vector<std::string> names;
    names.reserve(json_.size());
    for (const std::uint32_t offset : json_) names.emplace_back(nameAt(offset));
    sidecars_.emplace(std::move(names));
  }
  return *sidecars_;
}

void Folder::claimSidecar(std::size_t position) {
  claimed_.resize(json_.size());
  if (!claimed_[position]) ++claimedCount_;
  claimed_[position] = true;
}

std::vector<std::string_view> Folder::mediaNames() const {
  std::vector<std::string_view> names;
  for (const Entry& entry : entries_) {
    if (entry.kind == EntryKind::media) names.emplace_back(nameAt(entry.name));
  }
  return names;
}

std::uint32_t Folder::store(std::string_view name) {
  const auto offset = static_cast<std::uint32_t>(names_.size());
  names_.append(name).push_back('\0');
  return offset;
}

void Folder::addEntry(std::string_view name, unsigned char type) {
  const bool hidden = isHidden(name);
  const bool json = SidecarMatcher::isJsonFilename(name);
  EntryKind kind = EntryKind::other;
  if (type == DT_DIR) {
    kind = EntryKind::folder;
  } else if (type == DT_REG && !json && isMediaName(name)) {
    kind = EntryKind::media;
  }
  const bool leftover = type == DT_REG && looksLikeLeftover(name);
  if (hidden && !json && !leftover) return;
  const bool named = json || leftover || kind != EntryKind::other;
  const std::uint32_t offset = named ? store(name) : 0;
  if (!hidden) entries_.push_back({offset, kind});
  if (json) json_.push_back(offset);
  if (leftover) leftovers_.push_back(offset);
}

bool Folder::read() {
  struct stat status {};
  if (fstat(descriptor_.get(), &status) != 0) return false;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  // readdir takes over the descriptor that it is given.
  Files::Descriptor own(fcntl(descriptor_.get(), F_DUPFD_CLOEXEC, 0));
  if (!own) return false;
  const std::unique_ptr<DIR, DirectoryCloser> directory(fdopendir(own.get()));
  if (!directory) return false;
  own.release();
  for (errno = 0; const dirent* entry = readdir(directory.get()); errno = 0) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (names_.size() > std::numeric_limits<std::uint32_t>::max() - NAME_MAX - 1) {
      errno = EOVERFLOW;
      break;
    }
    addEntry(name, typeOf(descriptor_.get(), entry->d_name, entry->d_type));
  }
  // Half a list would leave photos without the sidecars in its other half.
  return errno == 0;
}

void Folder::removeLeftovers() {
  if (leftovers_.empty() || descriptor() < 0) return;
  Files::Lock lock;
  if (lock.tryAcquire(descriptor()) != Files::Lock::Outcome::held) return;
  std::vector<std::optional<FileState>> before;
  bool mustRest = false;
  for (const std::uint32_t offset : leftovers_) {
    before.push_back(stateOf(descriptor(), nameAt(offset)));
    mustRest = mustRest || (before.back() &&
                            !std::string_view(nameAt(offset)).starts_with(TemporaryNames::builtInPrefix));
  }
  if (mustRest) std::this_thread::sleep_for(exifToolRest);
  for (std::size_t i = 0; i < leftovers_.size(); ++i) {
    const char* name = nameAt(leftovers_[i]);
    if (!before[i] || stateOf(descriptor(), name) != before[i]) continue;
    if (isOnlyCopy(descriptor(), name, *before[i])) continue;
    if (!Platform::isOpenElsewhere(descriptor(), name)) unlinkat(descriptor(), name, 0);
  }
}

class Walk {
 public:
  Walk(bool recursive, Visitor& visitor) : recursive_(recursive), visitor_(visitor) {}

  bool run(const std::filesystem::path& root) {
    Files::Descriptor descriptor = Files::openFolder(root);
    if (!descriptor) {
      noteUnlessPassedOver(root, errno);
      return false;
    }
    if (!enter(root, {}, std::move(descriptor))) return false;
    bool stopped = false;
    while (!stack_.empty()) {
      if (stopped || stack_.back()->next_ == stack_.back()->entries_.size()) {
        leave();
      } else {
        stopped = !step(*stack_.back());
      }
    }
    return true;
  }

 private:
  // Handles the folder's next entry; false when the walk was cancelled.
  bool step(Folder& folder) {
    if (visitor_.shouldCancel()) return false;
    const Folder::Entry entry = folder.entries_[folder.next_++];
    if (entry.kind == Folder::EntryKind::media) {
      visit(folder, folder.nameAt(entry.name));
    } else if (entry.kind == Folder::EntryKind::folder && recursive_) {
      descend(folder, folder.nameAt(entry.name));
    }
    return true;
  }

  void visit(Folder& folder, const char* name) {
    if (folder.descriptor() < 0) {
      visitor_.lost(folder.path_ / name);
      return;
    }
    if (!folder.visited_) folder.removeLeftovers();
    folder.visited_ = true;
    visitor_.visit(folder, name);
  }

  void descend(Folder& folder, const char* name) {
    const int parent = folder.descriptor();
    std::filesystem::path path = folder.path_ / name;
    if (path.native().size() >= PATH_MAX) return;
    if (parent < 0) {
      visitor_.lost(path);
      return;
    }
    Files::Descriptor child(
        openat(parent, name, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!child) {
      noteUnlessPassedOver(path, errno);
      return;
    }
    folder.closeDescriptor();
    enter(std::move(path), folder.relativePath(name), std::move(child));
  }

  // False when it was passed over.
  bool enter(std::filesystem::path path, std::string relative, Files::Descriptor descriptor) {
    auto folder =
        std::unique_ptr<Folder>(new Folder(std::move(path), std::move(relative), std::move(descriptor)));
    // One that may be listed but not entered shows names, and none of the files.
    if (const std::error_code error = Files::entryError(folder->descriptor_.get())) {
      noteUnlessPassedOver(folder->path_, error.value());
      return false;
    }
    errno = 0;
    if (!folder->read()) {
      noteUnlessPassedOver(folder->path_, errno);
      return false;
    }
    if (isBelowItself(*folder)) return false;
    stack_.push_back(std::move(folder));
    return true;
  }

  // A folder that is closed to us, or gone, is passed over; one that the system failed to read is another
  // matter.
  void noteUnlessPassedOver(const std::filesystem::path& folder, int error) {
    for (const int passedOver : {EACCES, EPERM, ENOENT, ENOTDIR, ELOOP}) {
      if (error == passedOver) return;
    }
    visitor_.lost(folder);
  }

  // A folder mounted below itself would be walked for ever.
  bool isBelowItself(const Folder& folder) const {
    return std::any_of(stack_.begin(), stack_.end(), [&](const auto& above) {
      return above->device_ == folder.device_ && above->inode_ == folder.inode_;
    });
  }

  void leave() {
    if (stack_.back()->visited_) visitor_.leave(*stack_.back());
    stack_.pop_back();
  }

  bool recursive_;
  Visitor& visitor_;
  std::vector<std::unique_ptr<Folder>> stack_;
};

bool walk(const std::filesystem::path& root, bool recursive, Visitor& visitor) {
  return Walk(recursive, visitor).run(Files::standardized(root));
}

void forEachMedia(
    const std::filesystem::path& root, bool recursive, const std::function<bool()>& shouldCancel,
    const std::function<void(const std::filesystem::path&, const std::vector<std::string>&)>& visit) {
  class Forwarder : public Visitor {
   public:
    Forwarder(const std::function<bool()>& cancel,
              const std::function<void(const std::filesystem::path&, const std::vector<std::string>&)>& take)
        : cancel_(cancel), take_(take) {}
    bool shouldCancel() override { return cancel_(); }
    void visit(Folder& folder, const char* mediaName) override {
      take_(folder.path() / mediaName, folder.sidecars().jsonNames());
    }

   private:
    const std::function<bool()>& cancel_;
    const std::function<void(const std::filesystem::path&, const std::vector<std::string>&)>& take_;
  };
  Forwarder forwarder(shouldCancel, visit);
  walk(root, recursive, forwarder);
}

void cleanupTemps(const std::filesystem::path& folder) {
  Folder opened(folder, {}, Files::openFolder(folder));
  if (opened.descriptor_ && opened.read()) opened.removeLeftovers();
}

}  // namespace tollbrook::FolderWalker
