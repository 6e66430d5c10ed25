#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Decides from file names alone which JSON file of a folder is a media file's sidecar. Names are compared by
/// canonical equivalence, lower-casing is Unicode's in the root locale, lengths are in characters (see
/// Text.h). Pure functions, callable from any thread; only jsonFilenames and sidecar touch the disk, to list
/// a folder.
namespace tollbrook::SidecarMatcher {

/// The length, in characters, to which an export cuts sidecar file names.
inline constexpr std::size_t googleNameLimit = 51;

/// The parts of a duplicate's name such as "IMG_1234 (2).jpg".
struct DupParts {
  std::string stem;       ///< before the counter and one optional space
  std::string counter;    ///< the digits, without parentheses
  std::string extension;  ///< with its leading dot

  bool operator==(const DupParts&) const = default;
};

/// Whether the extension of a file name is "json" in any case. A leading dot starts no extension.
bool isJsonFilename(std::string_view name);

/// Names of the entries of `folder` that isJsonFilename accepts, in listing order: hidden ones too, folders
/// and links as well as files. Empty when the folder cannot be listed.
std::vector<std::string> jsonFilenames(const std::filesystem::path& folder);

/// The names that the sidecar of `name` may carry, in order of preference, without duplicates.
std::vector<std::string> candidates(std::string_view name);

/// The parts of a name with a duplicate counter; none when it has no counter before its extension.
std::optional<DupParts> splitDuplicate(std::string_view name);

/// The name without its edit marker ("-edited", "~2", …), extension kept; none when it has none.
std::optional<std::string> stripEdited(std::string_view name);

/// base + ".supplemental-metadata.json", cut to `limit` characters (the last five being ".json") when longer.
std::string truncatedSupplemental(std::string_view base, std::size_t limit);

/// The sidecar of `mediaName` among `jsonNames`, as listed there; none when no name leads to it. The plain
/// form: it goes through the whole list for every call. Ties go to the earlier name.
std::optional<std::string> match(std::string_view mediaName, const std::vector<std::string>& jsonNames);

/// The sidecar of the file `media` among the names given, or among those of its folder.
std::optional<std::filesystem::path> sidecar(
    const std::filesystem::path& media,
    const std::optional<std::vector<std::string>>& jsonNamesInDirectory = std::nullopt);

/// The JSON names of one folder, arranged so that matching a media file costs the same however many there
/// are. Gives the answer of `match` for every input. One thread at a time.
class Index {
 public:
  explicit Index(std::vector<std::string> jsonNames);
  ~Index();
  Index(Index&&) noexcept;
  Index& operator=(Index&&) noexcept;

  const std::vector<std::string>& jsonNames() const;

  /// Position in jsonNames() of the sidecar of `mediaName`; none when no name leads to it.
  std::optional<std::size_t> match(std::string_view mediaName) const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tollbrook::SidecarMatcher
