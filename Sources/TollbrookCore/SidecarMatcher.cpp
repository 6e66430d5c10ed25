#include "TollbrookCore/SidecarMatcher.h"

#include <system_error>
#include <unordered_map>

#include "TollbrookCore/SidecarNames.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::SidecarMatcher {
namespace {

/// One name of the list under the form in which names are compared.
struct Entry {
  std::string key;
  const std::string* listed;
};

/// The map from key to listed name, and its entries in listing order. Of names with one key the first stays.
struct Listing {
  explicit Listing(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      std::string key = Text::foldedKey(name);
      if (byKey.emplace(key, &name).second) entries.push_back({std::move(key), &name});
    }
  }

  std::unordered_map<std::string, const std::string*> byKey;
  std::vector<Entry> entries;
};

const std::string* exactMatch(std::string_view mediaName, const Listing& listing) {
  for (const std::string& candidate : candidates(mediaName)) {
    const auto found = listing.byKey.find(Text::foldedKey(candidate));
    if (found != listing.byKey.end()) return found->second;
  }
  return nullptr;
}

/// Among the names that go on where the media name ends, with ".json" or a piece of the long suffix, the
/// longest.
const std::string* prefixMatch(const std::string& lowerMedia, const Listing& listing) {
  const std::size_t mediaLength = Text::characterCount(lowerMedia);
  const std::string* best = nullptr;
  std::size_t bestLength = 0;
  for (const auto& [key, listed] : listing.entries) {
    if (!Text::hasPrefix(key, lowerMedia + ".") || !Text::hasSuffix(key, Names::jsonSuffix)) continue;
    const std::string_view rest = Text::dropFirst(key, mediaLength);
    if (!Text::equal(rest, Names::jsonSuffix) && !Text::hasPrefix(rest, ".suppl")) continue;
    const std::size_t length = Text::characterCount(*listed);
    if (best != nullptr && length <= bestLength) continue;
    best = listed;
    bestLength = length;
  }
  return best;
}

/// The key without the sidecar suffix and a counter at its end.
std::string stemOf(std::string_view key) {
  for (const std::string_view suffix : {Names::supplementalSuffix, Names::jsonSuffix}) {
    if (Text::hasSuffix(key, suffix)) {
      key.remove_suffix(suffix.size());
      break;
    }
  }
  const Names::Stem stem = Names::withoutCounter(key);
  return std::string(stem.head).append(stem.lineBreak);
}

/// Among the names whose stem is long and begins the media name, or is begun by it, the one with the longest
/// stem.
const std::string* stemMatch(const std::string& lowerMedia, const Listing& listing) {
  const std::string* best = nullptr;
  std::size_t bestLength = 0;
  for (const auto& [key, listed] : listing.entries) {
    const std::string stem = stemOf(key);
    const std::size_t length = Text::characterCount(stem);
    if (length < Names::shortestStem || length <= bestLength) continue;
    if (!Text::hasPrefix(lowerMedia, stem) && !Text::hasPrefix(stem, Text::prefix(lowerMedia, length))) {
      continue;
    }
    best = listed;
    bestLength = length;
  }
  return best;
}

}  // namespace

bool isJsonFilename(std::string_view name) {
  constexpr std::string_view extension = Names::jsonSuffix;
  // A name that is nothing but ".json" is hidden and has no extension.
  if (name.size() <= extension.size()) return false;
  // Nothing outside ASCII lower-cases to one of these letters.
  for (std::size_t i = 0; i < extension.size(); ++i) {
    const char c = name[name.size() - extension.size() + i];
    if (c != extension[i] && (extension[i] == '.' || (c | 0x20) != extension[i])) return false;
  }
  return true;
}

std::vector<std::string> jsonFilenames(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  auto entry = std::filesystem::directory_iterator(folder, error);
  while (!error && entry != std::filesystem::directory_iterator()) {
    std::string name = entry->path().filename().native();
    if (isJsonFilename(name)) names.push_back(std::move(name));
    entry.increment(error);
  }
  if (error) names.clear();
  return names;
}

std::optional<std::string> match(std::string_view mediaName, const std::vector<std::string>& jsonNames) {
  if (jsonNames.empty()) return std::nullopt;
  const Listing listing(jsonNames);
  const std::string lowerMedia = Text::foldedKey(mediaName);
  const std::string* found = exactMatch(mediaName, listing);
  if (found == nullptr) found = prefixMatch(lowerMedia, listing);
  if (found == nullptr) found = stemMatch(lowerMedia, listing);
  return found != nullptr ? std::optional(*found) : std::nullopt;
}

std::optional<std::filesystem::path> sidecar(
    const std::filesystem::path& media, const std::optional<std::vector<std::string>>& jsonNamesInDirectory) {
  const std::filesystem::path folder = media.parent_path();
  const std::string name = media.filename().native();
  const auto found =
      jsonNamesInDirectory ? match(name, *jsonNamesInDirectory) : match(name, jsonFilenames(folder));
  return found ? std::optional(folder / *found) : std::nullopt;
}

}  // namespace tollbrook::SidecarMatcher
