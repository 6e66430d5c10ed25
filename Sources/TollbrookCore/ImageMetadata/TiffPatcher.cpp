#include "TollbrookCore/ImageMetadata/TiffPatcher.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "TollbrookCore/ImageMetadata/TiffOccupancy.h"
#include "TollbrookCore/ImageMetadata/TiffVerifier.h"

namespace tollbrook::ImageMetadata {
namespace {

/// A directory as it is, and what is to become of it.
struct Planned {
  const TiffDirectory* old = nullptr;  ///< null: there is none yet
  std::vector<TiffField> fields;
  bool isRebuilt = false;       ///< into a new place, since entries are added
  std::uint64_t newOffset = 0;  ///< of a rebuilt one

  bool exists() const { return old != nullptr || !fields.empty(); }
  bool isNew() const { return old == nullptr && exists(); }
  bool sets(std::uint16_t tag) const {
    return std::any_of(fields.begin(), fields.end(),
                       [&](const TiffField& field) { return field.tag == tag; });
  }
};

/// What may be laid anew, since it is written here: a directory or the value of a field.
struct OwnArea {
  TiffArea area;
  std::uint64_t owner;  ///< position of the directory or the entry
  bool takesOtherRoom;  ///< afterwards, or none at all
};

class Patcher {
 public:
  Patcher(const TiffReader& reader, const TiffEdits& edits);

  OutputPlan build(std::uint64_t keptLength);
  std::uint64_t usedEnd() const { return occupancy_.end(); }

 private:
  /// Where a value goes.
  enum class Place { asItIs, inEntry, overOld, appended };

  Planned planned(const TiffDirectory* old, const std::vector<TiffField>& fields,
                  const std::vector<TiffField>& fieldsOfNew) const;
  bool needsRebuilding(const Planned& directory) const;
  void raiseExifVersion();
  void requireGpsVersion() const;
  void requireSound(const Planned& directory) const;

  bool isOutside(const TiffEntry& entry) const {
    return entry.value && entry.value->length > reader_.offsetWidth();
  }
  bool isAsItIs(const TiffEntry* entry, const TiffField& field) const;
  Place placeOf(const TiffEntry* entry, const TiffField& field) const;
  std::vector<OwnArea> ownAreas() const;
  std::uint64_t tailStart(std::uint64_t keptLength) const;

  std::uint64_t reserve(std::uint64_t length);
  std::uint64_t append(const std::string& bytes);
  void reserveDirectory(Planned& directory);
  void fillDirectory(const Planned& directory);
  std::string pointerEntry(std::uint16_t tag, const Planned& directory) const;
  void placeFields(const Planned& directory, std::map<std::uint16_t, std::string>& newEntries);
  void put(std::uint64_t offset, const std::string& bytes);

  std::string encoded(const TiffField& field) const;
  std::string entryBytes(std::uint16_t tag, TiffType type, std::uint64_t count, std::string field) const;
  std::string number(std::uint64_t value, std::size_t width) const {
    return numberBytes(value, width, reader_.order());
  }

  const TiffReader& reader_;
  TiffOccupancy occupancy_;
  bool keepsFirstPageOnly_;
  Planned first_, exif_, gps_;

  std::uint64_t tailStart_ = 0;
  std::string tail_;
  std::map<std::uint64_t, std::string> changes_;  ///< before the tail, by offset
};

std::uint64_t countOf(const TiffField& field) {
  if (field.type == TiffType::rational) return field.numbers.size() / 2;
  return field.numbers.empty() ? field.bytes.size() / sizeOf(field.type).value_or(1) : field.numbers.size();
}

/// What varies in length comes last, where it can grow.
std::vector<TiffField> inOrderOfPlacing(std::vector<TiffField> fields) {
  const auto varies = [](const TiffField& field) {
    return field.tag == TiffTag::imageDescription || field.tag == TiffTag::xmp ||
           field.tag == TiffTag::iptc || field.tag == TiffTag::photoshop;
  };
  std::stable_partition(fields.begin(), fields.end(), [&](const TiffField& field) { return !varies(field); });
  return fields;
}

Patcher::Patcher(const TiffReader& reader, const TiffEdits& edits)
    : reader_(reader), occupancy_(reader), keepsFirstPageOnly_(edits.keepsFirstPageOnly) {
  first_ = planned(&reader.first(), edits.first, edits.newFirst);
  exif_ = planned(reader.exif(), edits.exif, edits.newExif);
  gps_ = planned(reader.gps(), edits.gps, edits.newGps);
  raiseExifVersion();
  requireGpsVersion();
  for (Planned* const directory : {&gps_, &exif_, &first_}) {
    requireSound(*directory);
    directory->isRebuilt = needsRebuilding(*directory);
  }
  if (exif_.isNew() || gps_.isNew()) first_.isRebuilt = true;
}

Planned Patcher::planned(const TiffDirectory* old, const std::vector<TiffField>& fields,
                         const std::vector<TiffField>& fieldsOfNew) const {
  Planned directory{.old = old, .fields = fields};
  const bool isNew = old == nullptr || old->entries.empty();
  if (isNew && (!fields.empty() || old == &reader_.first())) {
    directory.fields.insert(directory.fields.end(), fieldsOfNew.begin(), fieldsOfNew.end());
  }
  directory.fields = inOrderOfPlacing(std::move(directory.fields));
  return directory;
}

bool Patcher::needsRebuilding(const Planned& directory) const {
  if (directory.fields.empty()) return false;
  if (directory.old == nullptr || !directory.old->hasNext) return true;
  return std::any_of(directory.fields.begin(), directory.fields.end(), [&](const TiffField& field) {
    // Of several only one is to remain.
    return directory.old->count(field.tag) != 1;
  });
}

/// The entry, if it is a version of four bytes that is lower than this.
const TiffEntry* lowerVersion(const Planned& directory, std::uint16_t tag, std::string_view least) {
  const TiffEntry* const version = directory.old != nullptr ? directory.old->find(tag) : nullptr;
  const bool isVersion = version != nullptr && sizeOf(version->type) == 1 && version->count == 4;
  return isVersion && std::string_view(version->field).substr(0, 4) < least ? version : nullptr;
}

// The offsets of the dates came with Exif 2.31.
void Patcher::raiseExifVersion() {
  if (!exif_.sets(TiffTag::offsetTimeOriginal)) return;
  if (const TiffEntry* const version = lowerVersion(exif_, TiffTag::exifVersion, "0231")) {
    exif_.fields.push_back(TiffField::ofBytes(TiffTag::exifVersion, version->type, "0232"));
  }
}

// Positions came with version 2, the first that there was.
void Patcher::requireGpsVersion() const {
  const std::string_view first("\2\0\0\0", 4);
  if (!gps_.fields.empty() && lowerVersion(gps_, TiffTag::gpsVersionId, first) != nullptr) {
    throw Refused("the directory of the position is of an unknown version");
  }
}

void Patcher::requireSound(const Planned& directory) const {
  // The first one holds the pointers to the others.
  const bool isEdited = !directory.fields.empty() || &directory == &first_;
  if (directory.old == nullptr || !isEdited) return;
  for (const TiffEntry& entry : directory.old->entries) {
    if (!sizeOf(entry.type)) throw Refused("a directory holds a value of an unknown type");
  }
  if (!occupancy_.entriesAreAlone(*directory.old)) throw Refused("a directory overlaps something");
}

bool Patcher::isAsItIs(const TiffEntry* entry, const TiffField& field) const {
  return entry != nullptr && entry->value && entry->type == field.type && entry->count == countOf(field) &&
         reader_.block().read(entry->value->offset, entry->value->length) == encoded(field);
}

Patcher::Place Patcher::placeOf(const TiffEntry* entry, const TiffField& field) const {
  const bool isLaidAnew = entry != nullptr && isOutside(*entry) && entry->value->offset >= tailStart_;
  if (isAsItIs(entry, field) && !isLaidAnew) return Place::asItIs;
  const std::uint64_t length = encoded(field).size();
  if (length <= reader_.offsetWidth()) return Place::inEntry;
  const bool fits = entry != nullptr && entry->value && entry->value->length >= length;
  return fits && !isLaidAnew && occupancy_.isAlone(*entry) ? Place::overOld : Place::appended;
}

std::vector<OwnArea> Patcher::ownAreas() const {
  std::vector<OwnArea> areas;
  for (const Planned* const directory : {&first_, &exif_, &gps_}) {
    if (directory->old == nullptr) continue;
    const TiffArea& area = directory->old->area;
    if (directory->isRebuilt) areas.push_back({area, area.offset, true});
    for (const TiffField& field : directory->fields) {
      const TiffEntry* const entry = directory->old->find(field.tag);
      if (entry == nullptr || !isOutside(*entry)) continue;
      areas.push_back({*entry->value, entry->position, encoded(field).size() != entry->value->length});
    }
  }
  return areas;
}

// What is written here stands at the end of the block once it has grown. All of it from the first that takes
// other room is laid anew, so that a file grows by the difference alone and becomes shorter again.
std::uint64_t Patcher::tailStart(std::uint64_t keptLength) const {
  std::vector<OwnArea> areas = ownAreas();
  std::sort(areas.begin(), areas.end(),
            [](const OwnArea& a, const OwnArea& b) { return a.area.offset > b.area.offset; });
  std::uint64_t start = keptLength, reached = keptLength;
  for (const auto& [area, owner, takesOtherRoom] : areas) {
    const std::uint64_t padding = area.end() % 2;
    const bool isLast = area.end() == reached || area.end() + padding == reached;
    if (!isLast || !occupancy_.isAlone({area.offset, reached - area.offset}, owner)) continue;
    reached = area.offset;
    if (takesOtherRoom) start = reached;
  }
  return start;
}

OutputPlan Patcher::build(std::uint64_t keptLength) {
  tailStart_ = tailStart(keptLength);
  tail_.clear();
  changes_.clear();
  for (Planned* const directory : {&gps_, &exif_, &first_}) reserveDirectory(*directory);
  for (const Planned* const directory : {&gps_, &exif_, &first_}) fillDirectory(*directory);
  if (first_.isRebuilt) {
    changes_[reader_.firstPointer()] = number(first_.newOffset, reader_.offsetWidth());
  }
  if (!tail_.empty() && !reader_.isBig() &&
      tailStart_ + tail_.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw Refused("the file would be too large for its offsets");
  }
  OutputPlan plan(reader_.block());
  plan.copy(0, tailStart_);
  plan.add(tail_);
  for (auto& [offset, bytes] : changes_) plan.overwrite(offset, std::move(bytes));
  return plan;
}

/// Room in the tail, on a word boundary (TIFF 6.0, section 2).
std::uint64_t Patcher::reserve(std::uint64_t length) {
  if ((tailStart_ + tail_.size()) % 2 != 0) tail_ += '\0';
  const std::uint64_t offset = tailStart_ + tail_.size();
  tail_.append(length, '\0');
  return offset;
}

std::uint64_t Patcher::append(const std::string& bytes) {
  const std::uint64_t offset = reserve(bytes.size());
  put(offset, bytes);
  return offset;
}

void Patcher::put(std::uint64_t offset, const std::string& bytes) {
  if (offset >= tailStart_) {
    tail_.replace(offset - tailStart_, bytes.size(), bytes);
  } else {
    changes_[offset] = bytes;
  }
}

void Patcher::reserveDirectory(Planned& directory) {
  if (!directory.isRebuilt) return;
  std::uint64_t count = directory.fields.size();
  if (directory.old != nullptr) {
    for (const TiffEntry& entry : directory.old->entries) count += directory.sets(entry.tag) ? 0U : 1U;
  }
  if (&directory == &first_) {
    for (const Planned* const child : {&exif_, &gps_}) {
      if (child->isNew()) ++count;
    }
  }
  const std::uint64_t countWidth = reader_.isBig() ? 8 : 2, entryWidth = reader_.isBig() ? 20 : 12;
  if (count > std::numeric_limits<std::uint16_t>::max()) throw Refused("a directory is full");
  directory.newOffset = reserve(countWidth + count * entryWidth + reader_.offsetWidth());
}

// The values are written; of the directory itself, what changes.
void Patcher::fillDirectory(const Planned& directory) {
  std::map<std::uint16_t, std::string> newEntries;
  placeFields(directory, newEntries);
  if (&directory == &first_) {
    for (const auto& [tag, child] : {std::pair{TiffTag::exifIfd, &exif_}, {TiffTag::gpsIfd, &gps_}}) {
      if (child->isRebuilt) newEntries[tag] = pointerEntry(tag, *child);
    }
  }
  const std::uint64_t next =
      directory.old == nullptr || (&directory == &first_ && keepsFirstPageOnly_) ? 0 : directory.old->next;
  if (!directory.isRebuilt) {
    for (const auto& [tag, bytes] : newEntries) put(directory.old->find(tag)->position, bytes);
    const bool endsChain = directory.old != nullptr && directory.old->hasNext && directory.old->next != next;
    if (endsChain)
      put(directory.old->area.end() - reader_.offsetWidth(), number(next, reader_.offsetWidth()));
    return;
  }
  std::multimap<std::uint16_t, std::string> entries(newEntries.begin(), newEntries.end());
  if (directory.old != nullptr) {
    for (const TiffEntry& entry : directory.old->entries) {
      const bool isReplaced = newEntries.count(entry.tag) != 0;
      if (!isReplaced)
        entries.emplace(entry.tag, entryBytes(entry.tag, entry.type, entry.count, entry.field));
    }
  }
  std::string bytes = number(entries.size(), reader_.isBig() ? 8 : 2);
  for (const auto& [tag, entry] : entries) bytes += entry;
  put(directory.newOffset, bytes + number(next, reader_.offsetWidth()));
}

std::string Patcher::pointerEntry(std::uint16_t tag, const Planned& directory) const {
  const TiffEntry* const old = first_.old->find(tag);
  TiffType type = old != nullptr ? old->type : TiffType::longInteger;
  if (reader_.isBig()) type = TiffType::long8;
  return entryBytes(tag, type, 1, number(directory.newOffset, reader_.offsetWidth()));
}

void Patcher::placeFields(const Planned& directory, std::map<std::uint16_t, std::string>& newEntries) {
  for (const TiffField& field : directory.fields) {
    const TiffEntry* const old = directory.old != nullptr ? directory.old->find(field.tag) : nullptr;
    const std::string value = encoded(field);
    const Place place = placeOf(old, field);
    std::string content = value;
    if (place == Place::asItIs && !directory.isRebuilt) continue;
    if (place == Place::appended) {
      content = number(append(value), reader_.offsetWidth());
    } else if (place != Place::inEntry && old != nullptr) {
      content = old->field;
    }
    if (place == Place::overOld && old != nullptr) {
      put(old->value->offset, value + std::string(old->value->length - value.size(), '\0'));
    }
    newEntries[field.tag] = entryBytes(field.tag, field.type, countOf(field), std::move(content));
  }
}

std::string Patcher::encoded(const TiffField& field) const {
  if (field.numbers.empty()) return field.bytes;
  const std::size_t width = field.type == TiffType::shortInteger ? 2 : 4;
  std::string bytes;
  for (const std::uint32_t value : field.numbers) bytes += number(value, width);
  return bytes;
}

std::string Patcher::entryBytes(std::uint16_t tag, TiffType type, std::uint64_t count,
                                std::string field) const {
  field.resize(reader_.offsetWidth(), '\0');
  return number(tag, 2) + number(static_cast<std::uint16_t>(type), 2) + number(count, reader_.offsetWidth()) +
         field;
}

// The length of the block without the zeros at its end that belong to nothing.
std::uint64_t lengthInUse(const ByteSource& block, std::uint64_t usedEnd) {
  const std::string bytes = block.read(0, block.size());
  const std::size_t last = bytes.find_last_not_of('\0');
  return std::max<std::uint64_t>(usedEnd, last == std::string::npos ? 0 : last + 1);
}

}  // namespace

TiffField TiffField::text(std::uint16_t tag, std::string_view text) {
  return {.tag = tag, .type = TiffType::ascii, .bytes = std::string(text) + '\0', .numbers = {}};
}

TiffField TiffField::ofBytes(std::uint16_t tag, TiffType type, std::string bytes) {
  return {.tag = tag, .type = type, .bytes = std::move(bytes), .numbers = {}};
}

TiffField TiffField::ofNumbers(std::uint16_t tag, TiffType type, std::vector<std::uint32_t> numbers) {
  return {.tag = tag, .type = type, .bytes = {}, .numbers = std::move(numbers)};
}

TiffField TiffField::ofRationals(std::uint16_t tag, const std::vector<Rational>& values) {
  std::vector<std::uint32_t> numbers;
  for (const Rational& value : values) numbers.insert(numbers.end(), {value.numerator, value.denominator});
  return ofNumbers(tag, TiffType::rational, std::move(numbers));
}

OutputPlan patchTiff(const ByteSource& block, const TiffEdits& edits) {
  const TiffReader reader(block);
  Patcher patcher(reader, edits);
  OutputPlan plan = patcher.build(block.size());
  if (plan.size() > edits.sizeLimit && block.size() <= 2 * edits.sizeLimit) {
    plan = patcher.build(lengthInUse(block, patcher.usedEnd()));
  }
  if (plan.size() > edits.sizeLimit) throw Refused("there is no room for the metadata");
  const TiffReader result(plan);
  verifyTiff(reader, result, edits);
  // What could not be edited again, since something overlaps in it, is not sound.
  [[maybe_unused]] const Patcher again(result, edits);
  return plan;
}

std::string newExifBlock(const TiffEdits& edits) {
  // A header and an empty directory.
  const std::string empty(
      "II*\0\x08\0\0\0"
      "\0\0"
      "\0\0\0\0",
      14);
  return patchTiff(MemorySource(empty), edits).bytes();
}

}  // namespace tollbrook::ImageMetadata
