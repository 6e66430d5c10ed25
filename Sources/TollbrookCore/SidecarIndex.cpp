#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <utility>

#include "TollbrookCore/SidecarMatcher.h"
#include "TollbrookCore/SidecarNames.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::SidecarMatcher {
namespace {

using Id = std::uint32_t;

/// Where a text lies in the arena.
struct Span {
  std::size_t offset;
  std::size_t length;
};

/// A set of texts that lie in one arena, each with an id in order of arrival: a hash table with open
/// addressing that holds no text itself.
class SpanTable {
 public:
  explicit SpanTable(const std::string& arena) : arena_(arena) {}

  void reserve(std::size_t count) {
    spans_.reserve(count);
    rehash(std::bit_ceil(count + count / 2 + 1));
  }

  std::size_t size() const { return spans_.size(); }
  std::string_view text(Id id) const {
    return std::string_view(arena_).substr(spans_[id].offset, spans_[id].length);
  }
  Span span(Id id) const { return spans_[id]; }

  std::optional<Id> find(std::string_view text) const {
    if (slots_.empty()) return std::nullopt;
    const Slot& slot = slots_[slotOf(text, hash(text))];
    return slot.used != 0 ? std::optional(slot.used - 1) : std::nullopt;
  }

  /// The id of the text, and whether it is new.
  std::pair<Id, bool> insert(Span span) {
    if (slots_.size() * 2 <= spans_.size() * 3) rehash(std::max<std::size_t>(8, slots_.size() * 2));
    const std::string_view text = std::string_view(arena_).substr(span.offset, span.length);
    const std::uint32_t hashed = hash(text);
    Slot& slot = slots_[slotOf(text, hashed)];
    if (slot.used != 0) return {slot.used - 1, false};
    const auto id = static_cast<Id>(spans_.size());
    slot = {hashed, id + 1};
    spans_.push_back(span);
    return {id, true};
  }

 private:
  struct Slot {
    std::uint32_t hashed = 0;
    Id used = 0;  ///< the id + 1; 0 in a free slot
  };

  static std::uint32_t hash(std::string_view text) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>{}(text));
  }

  /// The slot that holds the text, or the free one where it belongs.
  std::size_t slotOf(std::string_view wanted, std::uint32_t hashed) const {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = hashed & mask;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.used == 0 || (slot.hashed == hashed && text(slot.used - 1) == wanted)) return i;
    }
  }

  void rehash(std::size_t size) {
    const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(size));
    for (const Slot& slot : old) {
      if (slot.used == 0) continue;
      std::size_t i = slot.hashed & (size - 1);
      while (slots_[i].used != 0) i = (i + 1) & (size - 1);
      slots_[i] = slot;
    }
  }

  const std::string& arena_;
  std::vector<Span> spans_;
  std::vector<Slot> slots_;
};

/// An answer and what it is preferred by.
struct Choice {
  std::size_t position;    ///< in the list of JSON names
  std::size_t characters;  ///< more is better; of equals the earlier position

  bool isBetterThan(const Choice& other) const {
    return characters != other.characters ? characters > other.characters : position < other.position;
  }
};

void keepBetter(std::optional<Choice>& best, const Choice& choice) {
  if (!best || choice.isBetterThan(*best)) best = choice;
}

}  // namespace

class Index::Implementation {
 public:
  explicit Implementation(std::vector<std::string> jsonNames);

  const std::vector<std::string>& jsonNames() const { return jsonNames_; }
  std::optional<std::size_t> match(std::string_view mediaName);

 private:
  std::optional<Id> findExact(std::string_view mediaName);
  std::optional<Choice> findByPrefix();
  std::optional<Choice> findByStem() const;
  std::optional<Choice> longerStem() const;

  void prepareFallback();
  void addHeads(Id name);
  void addStem(Id name);

  std::vector<std::string> jsonNames_;
  std::string arena_;                    ///< all keys, and the few stems that are no part of one
  SpanTable keys_{arena_};               ///< ids are in listing order
  std::vector<std::uint32_t> position_;  ///< of each key, that of the first name that has it

  // For media files that no candidate leads to; made when the first of them comes.
  bool fallbackReady_ = false;
  SpanTable heads_{arena_};  ///< what stands before ".suppl" in a key
  std::vector<Choice> headChoices_;
  SpanTable stems_{arena_};  ///< only long ones; ids are in listing order
  std::vector<Choice> stemChoices_;
  std::vector<std::size_t> stemLengths_;  ///< in bytes, each once, longest first
  std::vector<Id> sortedStems_;

  std::string mediaKey_;  ///< of the media file in hand
  std::string buffer_;
};

Index::Implementation::Implementation(std::vector<std::string> jsonNames) : jsonNames_(std::move(jsonNames)) {
  if (jsonNames_.empty()) return;
  std::size_t bytes = 0;
  for (const std::string& name : jsonNames_) bytes += name.size();
  arena_.reserve(bytes);
  keys_.reserve(jsonNames_.size());
  position_.reserve(jsonNames_.size());

  for (std::size_t i = 0; i < jsonNames_.size(); ++i) {
    const std::size_t start = arena_.size();
    Text::appendFoldedKey(arena_, jsonNames_[i]);
    if (keys_.insert({start, arena_.size() - start}).second) {
      position_.push_back(static_cast<std::uint32_t>(i));
    } else {
      arena_.resize(start);
    }
  }
}

std::optional<std::size_t> Index::Implementation::match(std::string_view mediaName) {
  if (jsonNames_.empty()) return std::nullopt;
  mediaKey_.clear();
  Text::appendFoldedKey(mediaKey_, mediaName);
  if (const auto found = findExact(mediaName)) return position_[*found];
  prepareFallback();
  auto choice = findByPrefix();
  if (!choice) choice = findByStem();
  return choice ? std::optional(choice->position) : std::nullopt;
}

std::optional<Id> Index::Implementation::findExact(std::string_view mediaName) {
  std::optional<Id> found;
  if (Text::isAscii(mediaName)) {
    // Of an ASCII name's parts and the suffixes, each is lower-cased for itself.
    Names::CandidateMaker maker(buffer_, [&](std::string_view candidate) {
      found = keys_.find(candidate);
      return found.has_value();
    });
    maker.run(mediaKey_);
  } else {
    std::string key;
    Names::CandidateMaker maker(buffer_, [&](std::string_view candidate) {
      key.clear();
      Text::appendFoldedKey(key, candidate);
      found = keys_.find(key);
      return found.has_value();
    });
    maker.run(mediaName);
  }
  return found;
}

std::optional<Choice> Index::Implementation::findByPrefix() {
  // A letter that attaches itself to what follows takes the dot along: the rest begins behind both.
  buffer_.assign(mediaKey_) += Names::jsonSuffix;
  const std::size_t head = mediaKey_.size() + (Text::isCharacterBoundary(buffer_, mediaKey_.size()) ? 0 : 1);
  buffer_.insert(mediaKey_.size(), head - mediaKey_.size(), '.');

  std::optional<Choice> best;
  if (const auto id = heads_.find(std::string_view(buffer_).substr(0, head))) best = headChoices_[*id];
  if (const auto id = keys_.find(buffer_)) {
    const std::size_t position = position_[*id];
    keepBetter(best, {position, Text::characterCount(jsonNames_[position])});
  }
  return best;
}

std::optional<Choice> Index::Implementation::findByStem() const {
  if (const auto longer = longerStem()) return longer;
  for (const std::size_t length : stemLengths_) {
    if (length > mediaKey_.size()) continue;
    const auto id = stems_.find(std::string_view(mediaKey_).substr(0, length));
    if (id && Text::isCharacterBoundary(mediaKey_, length)) return stemChoices_[*id];
  }
  return std::nullopt;
}

/// The longest stem that the media name begins; it is longer than any that begins the media name.
std::optional<Choice> Index::Implementation::longerStem() const {
  std::optional<Choice> best;
  auto stem = std::lower_bound(sortedStems_.begin(), sortedStems_.end(), mediaKey_,
                               [&](Id id, const std::string& key) { return stems_.text(id) < key; });
  for (; stem != sortedStems_.end() && stems_.text(*stem).starts_with(mediaKey_); ++stem) {
    if (Text::isCharacterBoundary(stems_.text(*stem), mediaKey_.size())) {
      keepBetter(best, stemChoices_[*stem]);
    }
  }
  return best;
}

void Index::Implementation::prepareFallback() {
  if (std::exchange(fallbackReady_, true)) return;
  for (Id name = 0; name < keys_.size(); ++name) {
    addHeads(name);
    addStem(name);
  }
  std::vector<std::size_t>& lengths = stemLengths_;
  for (Id id = 0; id < stems_.size(); ++id) {
    sortedStems_.push_back(id);
    lengths.push_back(stems_.span(id).length);
  }
  std::sort(sortedStems_.begin(), sortedStems_.end(),
            [&](Id a, Id b) { return stems_.text(a) < stems_.text(b); });
  std::sort(lengths.begin(), lengths.end(), std::greater<>());
  lengths.erase(std::unique(lengths.begin(), lengths.end()), lengths.end());
}

/// Enters every part of the key from which the prefix rule leads to this key. The usual name, an ASCII name
/// with the whole suffix, needs no entry: a media file of that name has found it as a candidate.
void Index::Implementation::addHeads(Id name) {
  constexpr std::string_view mark = ".suppl";
  const std::string_view key = keys_.text(name);
  std::size_t at = key.find(mark);
  if (at == std::string_view::npos || !Names::endsWith(key, Names::jsonSuffix)) return;
  if (key.substr(at) == Names::supplementalSuffix && Text::isAscii(key)) return;
  const Choice choice{position_[name], Text::characterCount(jsonNames_[position_[name]])};
  for (; at != std::string_view::npos; at = key.find(mark, at + mark.size())) {
    if (!Text::isCharacterBoundary(key, at + mark.size())) continue;
    const auto [id, isNew] = heads_.insert({keys_.span(name).offset, at});
    if (isNew) {
      headChoices_.push_back(choice);
    } else if (choice.isBetterThan(headChoices_[id])) {
      headChoices_[id] = choice;
    }
  }
}

void Index::Implementation::addStem(Id name) {
  const Names::Stem stem = Names::stemOfKey(keys_.text(name));
  Span span{keys_.span(name).offset, stem.head.size()};
  const std::string lineBreak(stem.lineBreak);
  if (!lineBreak.empty()) {
    buffer_.assign(stem.head) += lineBreak;
    span = {arena_.size(), buffer_.size()};
    arena_ += buffer_;
  }
  const std::string_view text = std::string_view(arena_).substr(span.offset, span.length);
  if (text.size() < Names::shortestStem) return;
  const std::size_t characters = Text::characterCount(text);
  if (characters < Names::shortestStem) return;
  if (stems_.insert(span).second) stemChoices_.push_back({position_[name], characters});
}

Index::Index(std::vector<std::string> jsonNames)
    : implementation_(std::make_unique<Implementation>(std::move(jsonNames))) {}
Index::~Index() = default;
Index::Index(Index&&) noexcept = default;
Index& Index::operator=(Index&&) noexcept = default;

const std::vector<std::string>& Index::jsonNames() const { return implementation_->jsonNames(); }

std::optional<std::size_t> Index::match(std::string_view mediaName) const {
  return implementation_->match(mediaName);
}

}  // namespace tollbrook::SidecarMatcher
