#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/SidecarMatcher.h"
#include "TollbrookCore/Support/Files.h"

/// Enumerates every photo and video below a folder together with the JSON names of its own folder. Scan and
/// write run both walk through it, so both see the same files in the same order: that of the directories,
/// depth first. Hidden files (a name that begins with ".") are not visited, links are not entered, what
/// cannot be read is passed over. On the first visit to a folder the temporary files of an interrupted write
/// are removed from it. Everything runs on the caller's thread.
namespace tollbrook::FolderWalker {

/// A folder while the walk is in it. Its entries were read once, in one pass; what is created or deleted
/// later does not change what is said here. Names are bytes and end with a NUL.
class Folder {
 public:
  const std::filesystem::path& path() const { return path_; }
  /// The path below the walk's root; empty for the root itself.
  /// The relative path of an entry.
  std::string relativePath(std::string_view name) const;
  /// The open folder, for calls relative to it; stays open until the walk descends or leaves. -1 when it is
  /// gone.
  int descriptor();
  /// The JSON names, in directory order, hidden ones included, and the index over them; made on first use.
  const SidecarMatcher::Index& sidecars() const;
  /// Notes that a media file has the sidecar at this position; a position counts once.
  void claimSidecar(std::size_t position);
  std::size_t claimedSidecars() const { return claimedCount_; }
  /// The photos and videos that the walk visits in this folder, in its order.
  std::vector<std::string_view> mediaNames() const;

 private:
  friend class Walk;
  friend void cleanupTemps(const std::filesystem::path& folder);

  enum class EntryKind : std::uint8_t { media, folder, other };
  struct Entry {
    std::uint32_t name;  ///< offset into names_
    EntryKind kind;
  };

  Folder(std::filesystem::path path, std::string relative, Files::Descriptor descriptor);

  bool read();
  void addEntry(std::string_view name, unsigned char type);
  std::uint32_t store(std::string_view name);
  const char* nameAt(std::uint32_t offset) const { return names_.data() + offset; }
  void removeLeftovers();
  void closeDescriptor() { descriptor_.close(); }

  std::filesystem::path path_;
  std::string relative_;
  Files::Descriptor descriptor_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::string names_;
  std::vector<Entry> entries_;            ///< the visible entries, in directory order
  std::vector<std::uint32_t> json_;       ///< offsets of the JSON names
  std::vector<std::uint32_t> leftovers_;  ///< offsets of the temporary files
  std::size_t next_ = 0;                  ///< the entry that the walk looks at next
  bool visited_ = false;
  mutable std::optional<SidecarMatcher::Index> sidecars_;
  std::vector<bool> claimed_;
  std::size_t claimedCount_ = 0;
};

/// What a walk tells.
class Visitor {
 public:
  virtual ~Visitor() = default;
  /// Asked once per visible entry, before it; true stops the walk at once.
  virtual bool shouldCancel() = 0;
  /// Called for each photo and video.
  virtual void visit(Folder& folder, const char* mediaName) = 0;
  /// Called when the walk leaves a folder in which something was visited, also when it was stopped.
  virtual void leave(Folder&) {}
  /// Called for what the walk should have entered or visited and could not because the system failed or it
  /// was moved away meanwhile. (What this user may not read is passed over without a word.)
  virtual void lost(const std::filesystem::path&) {}
};

/// Walks `root` (which may be a link to a folder), its subfolders only when `recursive`. False, at once, when
/// the root cannot be listed or entered; `lost` hears of it only where the system failed, not where the root
/// is closed to this user, or gone as with a disk that is not plugged in. At most two folders are open at a
/// time however deep the tree is, and a folder's names are let go when the walk leaves it. A folder whose
/// path is too long for the system's calls is passed over.
bool walk(const std::filesystem::path& root, bool recursive, Visitor& visitor);

/// The same with two callbacks: `visit` takes the media file and the JSON names of its folder.
void forEachMedia(const std::filesystem::path& root, bool recursive,
                  const std::function<bool()>& shouldCancel,
                  const std::function<void(const std::filesystem::path& media,
                                           const std::vector<std::string>& jsonNames)>& visit);

/// Removes the temporary files that an interrupted write left in `folder`: files whose name begins with
/// ".tollbrook-" or contains "_exiftool_tmp", but never a visible photo or video, never a JSON file, and
/// never the new file of a photo that is gone, which is all there is of it. Does nothing while somebody
/// writes in the folder (holds its lock). What cannot be removed stays.
void cleanupTemps(const std::filesystem::path& folder);

}  // namespace tollbrook::FolderWalker
