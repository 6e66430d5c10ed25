#include "TollbrookCore/ImageMetadata/TiffVerifier.h"

#include <algorithm>
#include <map>

#include "TollbrookCore/ImageMetadata/TiffOccupancy.h"

namespace tollbrook::ImageMetadata {
namespace {

/// The entries but for these tags, in order of their tags.
std::vector<const TiffEntry*> entriesWithout(const TiffDirectory* directory,
                                             const std::vector<std::uint16_t>& tags) {
  std::vector<const TiffEntry*> entries;
  if (directory == nullptr) return entries;
  for (const TiffEntry& entry : directory->entries) {
    if (std::find(tags.begin(), tags.end(), entry.tag) == tags.end()) entries.push_back(&entry);
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const TiffEntry* a, const TiffEntry* b) { return a->tag < b->tag; });
  return entries;
}

class Verifier {
 public:
  Verifier(const TiffReader& before, const TiffReader& after)
      : before_(before), after_(after), bytesLeft_(sum(4 * before.block().size(), slack)) {}

  void compare(const TiffDirectory* before, const TiffDirectory* after,
               const std::vector<std::uint16_t>& targets) {
    const auto old = entriesWithout(before, targets);
    const auto now = entriesWithout(after, targets);
    requireSame(old.size() == now.size());
    for (std::size_t i = 0; i < old.size(); ++i) requireSame(areSame(*old[i], *now[i]));
  }

  void requireFields(const TiffDirectory* directory, const std::vector<TiffField>& fields) const {
    for (const TiffField& field : fields) {
      const TiffEntry* const entry = directory == nullptr ? nullptr : directory->find(field.tag);
      requireSame(entry != nullptr && entry->type == field.type && holds(*entry, field));
    }
  }

  /// A block of metadata holds more than what is set in it: the new one stands for a single old one. Of any
  /// other tag that is set, several entries become one.
  void requireNoBlockDropped(const std::vector<TiffField>& fields) const {
    for (const TiffField& field : fields) {
      const bool isBlock =
          field.tag == TiffTag::xmp || field.tag == TiffTag::iptc || field.tag == TiffTag::photoshop;
      requireSame(!isBlock || before_.first().count(field.tag) <= 1);
    }
  }

  /// The directories that nothing was written into.
  void compareOthers(bool isChainCut) {
    // What pointed behind the end must not come to point into what was appended.
    if (!isChainCut)
      requireSame(TiffOccupancy(before_).missingPieces() == TiffOccupancy(after_).missingPieces());
    const auto& old = before_.others();
    const auto& now = after_.others();
    requireSame(isChainCut ? now.size() <= old.size() : now.size() == old.size());
    std::map<std::uint64_t, const TiffDirectory*> byOffset;
    for (const TiffDirectory& directory : old) byOffset.emplace(directory.area.offset, &directory);
    for (const TiffDirectory& directory : now) {
      const auto same = byOffset.find(directory.area.offset);
      requireSame(same != byOffset.end());
      // A directory at the end that was cut before its last field must not take that from what was appended.
      requireSame(same->second->hasNext == directory.hasNext && same->second->next == directory.next);
      compare(same->second, &directory, {});
    }
  }

 private:
  static constexpr std::uint64_t slack = 1 << 20;

  bool areSame(const TiffEntry& old, const TiffEntry& now) {
    if (old.tag != now.tag || old.type != now.type || old.count != now.count) return false;
    if (!old.value || !now.value) return !old.value && !now.value && old.field == now.field;
    // Values share bytes in damaged files only, and would take any time to compare if all of them did.
    requireSame(old.value->length <= bytesLeft_);
    bytesLeft_ -= old.value->length;
    return old.value->length == now.value->length &&
           sameBytes(before_.block(), old.value->offset, after_.block(), now.value->offset,
                     old.value->length);
  }

  bool holds(const TiffEntry& entry, const TiffField& field) const {
    if (!entry.value) return false;
    const std::string value = after_.block().read(entry.value->offset, entry.value->length);
    if (field.numbers.empty()) return value == field.bytes;
    const std::size_t width = field.type == TiffType::shortInteger ? 2 : 4;
    if (value.size() != field.numbers.size() * width) return false;
    for (std::size_t i = 0; i < field.numbers.size(); ++i) {
      if (after_.numberIn(value, i * width, width) != field.numbers[i]) return false;
    }
    return true;
  }

  const TiffReader& before_;
  const TiffReader& after_;
  std::uint64_t bytesLeft_;  ///< that may still be compared
};

std::vector<std::uint16_t> tagsOf(const std::vector<TiffField>& fields) {
  std::vector<std::uint16_t> tags;
  for (const TiffField& field : fields) tags.push_back(field.tag);
  return tags;
}

std::vector<std::uint16_t> tagsOfNew(const TiffDirectory* before, const std::vector<TiffField>& fields,
                                     const std::vector<TiffField>& fieldsOfNew) {
  std::vector<std::uint16_t> tags = tagsOf(fields);
  const bool wasEmpty = before == nullptr || before->entries.empty();
  if (wasEmpty) {
    const auto more = tagsOf(fieldsOfNew);
    tags.insert(tags.end(), more.begin(), more.end());
  }
  return tags;
}

}  // namespace

void verifyTiff(const TiffReader& before, const TiffReader& after, const TiffEdits& edits) {
  requireSame(before.order() == after.order() && before.isBig() == after.isBig());
  Verifier verifier(before, after);
  auto firstTags = tagsOfNew(&before.first(), edits.first, edits.newFirst);
  firstTags.insert(firstTags.end(), {TiffTag::exifIfd, TiffTag::gpsIfd});
  auto exifTags = tagsOfNew(before.exif(), edits.exif, edits.newExif);
  if (!edits.exif.empty()) exifTags.push_back(TiffTag::exifVersion);
  const auto gpsTags = tagsOfNew(before.gps(), edits.gps, edits.newGps);
  verifier.compare(&before.first(), &after.first(), firstTags);
  verifier.compare(before.exif(), after.exif(), exifTags);
  verifier.compare(before.gps(), after.gps(), gpsTags);
  verifier.requireNoBlockDropped(edits.first);
  verifier.requireFields(&after.first(), edits.first);
  verifier.requireFields(after.exif(), edits.exif);
  verifier.requireFields(after.gps(), edits.gps);
  requireSame(after.first().next == (edits.keepsFirstPageOnly ? 0 : before.first().next));
  verifier.compareOthers(edits.keepsFirstPageOnly);
}

}  // namespace tollbrook::ImageMetadata
