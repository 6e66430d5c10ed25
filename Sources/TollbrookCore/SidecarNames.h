#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "TollbrookCore/SidecarMatcher.h"

/// How media files and their sidecars are named: the parts of a name, found by hand because a regular
/// expression costs more than the rest of a match. Inside the matcher only. Pure functions, any thread.
namespace tollbrook::SidecarMatcher::Names {

inline constexpr std::string_view jsonSuffix = ".json";
inline constexpr std::string_view supplementalSuffix = ".supplemental-metadata.json";
/// Some exports cut at 46 characters instead of googleNameLimit.
inline constexpr std::size_t shortNameLimit = 46;
/// The characters that a stem must have before it may lead to a media file without a suffix's help.
inline constexpr std::size_t shortestStem = 16;

/// The name without its last dot and what follows; the name itself when it has no dot after its first byte.
std::string_view withoutExtension(std::string_view name);

struct Duplicate {
  std::string_view stem;
  std::string_view counter;
  std::string_view extension;
};
/// What splitDuplicate finds, as parts of `name`.
std::optional<Duplicate> findDuplicate(std::string_view name);
/// The same for a name that is `head` + `extension`.
std::optional<Duplicate> findDuplicate(std::string_view head, std::string_view extension);

struct Edited {
  std::string_view head;
  std::string_view extension;
};
/// The two parts of `name` before and behind its edit marker.
std::optional<Edited> findEdited(std::string_view name);

/// A stem without a counter "(2)" at its end. The counter may stand before a line break that ends the stem
/// and stays.
struct Stem {
  std::string_view head;
  std::string_view lineBreak;
};
Stem withoutCounter(std::string_view stem);

/// Whether the characters of `key`, which is in canonical form, end with this ASCII suffix.
bool endsWith(std::string_view key, std::string_view suffix);

/// The part of a JSON name's key that may name a media file: without the sidecar suffix and a counter.
Stem stemOfKey(std::string_view key);

/// Cuts a sidecar name to `limit` characters, ".json" included. False when it is no longer than that.
bool cut(std::string& sidecarName, std::size_t limit);

/// Makes the names that the sidecar of a media file may carry, one after the other in order of preference, in
/// one buffer. Some come twice.
template <typename Visit>
class CandidateMaker {
 public:
  /// `visit` takes a std::string_view, valid until it returns, and answers whether to stop.
  CandidateMaker(std::string& buffer, Visit visit) : buffer_(buffer), visit_(std::move(visit)) {}

  /// Whether the visitor stopped.
  bool run(std::string_view name) {
    if (addFamily(name)) return true;
    const std::string_view base = withoutExtension(name);
    if (base.size() != name.size() && (add({base, jsonSuffix}) || addFamily(base))) return true;
    const auto duplicate = findDuplicate(name);
    if (duplicate && addDuplicate(*duplicate)) return true;
    const auto edited = findEdited(name);
    return edited && addEdited(*edited);
  }

 private:
  bool add(std::initializer_list<std::string_view> parts) {
    buffer_.clear();
    for (const std::string_view part : parts) buffer_ += part;
    return visit_(std::string_view(buffer_));
  }

  bool addFamily(std::string_view head, std::string_view extension = {}) {
    return add({head, extension, supplementalSuffix}) || add({head, extension, jsonSuffix}) ||
           addCut(head, extension, googleNameLimit) || addCut(head, extension, shortNameLimit);
  }

  bool addCut(std::string_view head, std::string_view extension, std::size_t limit) {
    // A text never has more characters than bytes.
    if (head.size() + extension.size() + supplementalSuffix.size() <= limit) return false;
    buffer_.clear();
    for (const std::string_view part : {head, extension, supplementalSuffix}) buffer_ += part;
    return cut(buffer_, limit) && visit_(std::string_view(buffer_));
  }

  bool addDuplicate(const Duplicate& name) {
    return add({name.stem, name.extension, ".supplemental-metadata(", name.counter, ").json"}) ||
           add({name.stem, name.extension, "(", name.counter, ").json"}) ||
           add({name.stem, name.extension, "(", name.counter, ").supplemental-metadata.json"}) ||
           addFamily(name.stem, name.extension) || add({name.stem, jsonSuffix});
  }

  bool addEdited(const Edited& name) {
    if (addFamily(name.head, name.extension)) return true;
    // Where nothing is left before the dot, it hides the file and starts no extension.
    if (add({name.head.empty() ? name.extension : name.head, jsonSuffix})) return true;
    const auto duplicate = findDuplicate(name.head, name.extension);
    return duplicate && addFamily(duplicate->stem, duplicate->extension);
  }

  std::string& buffer_;
  Visit visit_;
};

}  // namespace tollbrook::SidecarMatcher::Names
