#include "TollbrookCore/ImageMetadata/HeifLayout.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <set>

#include "TollbrookCore/ImageMetadata/HeifPrimary.h"

namespace tollbrook::ImageMetadata::Heif {
namespace {

constexpr std::uint64_t narrowLimit = std::uint64_t{1} << 32;
// Fields that had no bytes get four; no location grows more by that.
constexpr std::uint64_t mostWidening = 4;

/// Where ranges of the old file are in the new one.
class PlaceMap {
 public:
  void add(const Range& range, std::uint64_t place) { places_[range.offset] = {range, place}; }

  /// The new place of a range that lies in one of those.
  std::uint64_t find(const Range& range) const {
    auto found = places_.upper_bound(range.offset);
    if (found == places_.begin()) throw Refused("an item lies where nothing should");
    const Moved& moved = std::prev(found)->second;
    if (!moved.range.holds(range)) throw Refused("an item lies across two boxes");
    return moved.place + (range.offset - moved.range.offset);
  }

 private:
  struct Moved {
    Range range;
    std::uint64_t place;
  };
  std::map<std::uint64_t, Moved> places_;
};

/// A new file in the making.
class Assembly {
 public:
  Assembly(const ByteSource& file, Meta meta, std::vector<const Payload*> payloads)
      : file_(file), meta_(std::move(meta)), payloads_(std::move(payloads)), plan_(file) {
    for (const Payload* payload : payloads_) placeLater(*payload);
    widenLocations();
  }

  void addFileType(std::string_view content) { plan_.add(box("ftyp", content)); }

  void addMeta() {
    metaOffset_ = plan_.size();
    plan_.add(metaBox());
  }

  void addBox(const FileBox& box) {
    if (box.reachesEnd) openBox_ = {plan_.size(), box.size};
    places_.add({box.offset, box.size}, plan_.size());
    plan_.copy(box.offset, box.size);
  }

  /// The data of all items that are in the tables and no payloads.
  void addItemData() {
    const std::vector<Range> ranges = itemRanges();
    std::uint64_t size = 0;
    for (const Range& range : ranges) size += range.length;
    if (ranges.empty()) return;
    plan_.add(boxHeader("mdat", size));
    for (const Range& range : ranges) {
      places_.add(range, plan_.size());
      plan_.copy(range.offset, range.length);
    }
  }

  void addPayloads() {
    std::uint64_t size = 0;
    for (const Payload* payload : payloads_) size += payload->bytes.size();
    if (size == 0) return;
    closeOpenBox();
    plan_.add(boxHeader("mdat", size));
    for (const Payload* payload : payloads_) {
      payloadPlaces_[payload->item] = plan_.size();
      plan_.add(payload->bytes);
    }
  }

  /// Puts the places into the meta box.
  OutputPlan finish() {
    for (auto& location : meta_.locations.locations) {
      const auto payload = payloadPlaces_.find(location.item);
      if (payload != payloadPlaces_.end()) {
        location.extents.front().offset = payload->second;
      } else {
        move(location);
      }
    }
    plan_.overwrite(metaOffset_, metaBox());
    return std::move(plan_);
  }

 private:
  std::string metaBox() const { return box("meta", meta_.content()); }

  void placeLater(const Payload& payload) {
    for (auto& location : meta_.locations.locations) {
      if (location.item != payload.item) continue;
      location.method = LocationTable::fromFile;
      location.base = 0;
      location.extents = {{.index = 0, .offset = 0, .length = payload.bytes.size()}};
    }
  }

  // The size of the table must be known before the places are.
  void widenLocations() {
    std::uint64_t most = file_.size() + mostWidening * metaBox().size();
    for (const Payload* payload : payloads_) most += payload->bytes.size();
    meta_.locations.widen(most < narrowLimit ? 4 : 8);
  }

  // A box that reaches to the end of the file gets a size, so that another can follow.
  void closeOpenBox() {
    if (!openBox_) return;
    if (openBox_->length >= narrowLimit) throw Refused("the last box is too large for its size field");
    plan_.overwrite(openBox_->offset, numberBytes(openBox_->length, 4));
    openBox_.reset();
  }

  /// In order, those that touch or overlap as one.
  std::vector<Range> itemRanges() const {
    std::vector<Range> ranges;
    for (const auto& location : meta_.locations.locations) {
      if (isPayload(location.item)) continue;
      for (const Range& range : rangesInFile(location)) ranges.push_back(range);
    }
    std::sort(ranges.begin(), ranges.end());
    std::vector<Range> joined;
    for (const Range& range : ranges) {
      if (joined.empty() || joined.back().end() < range.offset) {
        joined.push_back(range);
      } else {
        joined.back().length = std::max(joined.back().end(), range.end()) - joined.back().offset;
      }
    }
    return joined;
  }

  bool isPayload(ItemId item) const {
    return std::any_of(payloads_.begin(), payloads_.end(),
                       [&](const Payload* payload) { return payload->item == item; });
  }

  void move(LocationTable::Location& location) const {
    const std::vector<Range> ranges = rangesInFile(location);
    if (ranges.empty()) return;
    std::vector<std::uint64_t> offsets;
    for (const Range& range : ranges) offsets.push_back(places_.find(range));
    const std::uint64_t shift = offsets.front() - ranges.front().offset;
    bool moveTogether = ranges.size() == location.extents.size();
    for (std::size_t i = 0; i < ranges.size(); ++i) moveTogether &= offsets[i] - ranges[i].offset == shift;
    const bool hasBase =
        location.base != 0 && moveTogether && offsets.front() >= location.extents.front().offset;
    location.base = hasBase ? location.base + shift : 0;
    if (hasBase) return;
    auto offset = offsets.begin();
    for (auto& extent : location.extents) {
      if (extent.length > 0) extent.offset = *offset++;
    }
  }

  const ByteSource& file_;
  Meta meta_;
  std::vector<const Payload*> payloads_;  ///< to be put into a box of their own
  OutputPlan plan_;
  PlaceMap places_;
  std::uint64_t metaOffset_ = 0;
  std::map<ItemId, std::uint64_t> payloadPlaces_;
  std::optional<Range> openBox_;  ///< its place in the new file
};

/// Which parts of the old file payloads could have, because nobody else uses them.
class OwnPlaces {
 public:
  OwnPlaces(const File& old, const std::vector<Payload>& payloads) : old_(old), payloads_(payloads) {
    std::set<ItemId> own;
    for (const Payload& payload : payloads) own.insert(payload.item);
    for (const auto& location : old.meta.locations.locations) {
      if (own.contains(location.item)) continue;
      for (const Range& range : rangesInFile(location)) others_.push_back(range);
    }
  }

  /// Whether the payload can be written over what it was.
  bool canStay(const Payload& payload) const {
    if (payload.places.size() != 1 || payload.places.front().length != payload.bytes.size()) return false;
    const Range& place = payload.places.front();
    const auto payloadsThere = std::count_if(payloads_.begin(), payloads_.end(), [&](const Payload& other) {
      return std::any_of(other.places.begin(), other.places.end(),
                         [&](const Range& range) { return range.overlaps(place); });
    });
    return payloadsThere == 1 && isUnshared(place) &&
           std::any_of(old_.boxes.begin(), old_.boxes.end(), [&](const FileBox& box) {
             return box.type == "mdat" && Range{box.contentOffset(), box.contentSize()}.holds(place);
           });
  }

  /// The last box of the picture, when it holds payloads alone.
  const FileBox* tail() const {
    const FileBox& last = old_.boxes[old_.trailer - 1];
    if (last.type != "mdat" || last.contentSize() == 0) return nullptr;
    const Range content{last.contentOffset(), last.contentSize()};
    std::vector<Range> inside;
    for (const Payload& payload : payloads_) {
      for (const Range& range : payload.places) {
        if (content.holds(range)) inside.push_back(range);
      }
    }
    std::sort(inside.begin(), inside.end());
    std::uint64_t covered = content.offset;
    for (const Range& range : inside) {
      if (range.offset != covered) return nullptr;
      covered = range.end();
    }
    return covered == content.end() && isUnshared({last.offset, last.size}) ? &last : nullptr;
  }

 private:
  bool isUnshared(const Range& place) const {
    return std::none_of(others_.begin(), others_.end(),
                        [&](const Range& other) { return other.overlaps(place); });
  }

  const File& old_;
  const std::vector<Payload>& payloads_;
  std::vector<Range> others_;
};

bool liesIn(const Payload& payload, const FileBox* box) {
  return box && std::any_of(payload.places.begin(), payload.places.end(), [&](const Range& range) {
           return range.overlaps({box->offset, box->size});
         });
}

}  // namespace

OutputPlan layOutInPlace(const ByteSource& file, const File& old, Meta meta,
                         const std::vector<Payload>& payloads) {
  const OwnPlaces own(old, payloads);
  const bool allStay = std::all_of(payloads.begin(), payloads.end(), [&](const Payload& payload) {
    return !payload.isChanged() || own.canStay(payload);
  });
  if (allStay) {
    OutputPlan plan = OutputPlan::copyOf(file);
    for (const Payload& payload : payloads) {
      if (payload.isChanged()) plan.overwrite(payload.places.front().offset, payload.bytes);
    }
    return plan;
  }
  const FileBox* tail = own.tail();
  std::vector<const Payload*> moving;
  for (const Payload& payload : payloads) {
    if (payload.isChanged() || liesIn(payload, tail)) moving.push_back(&payload);
  }
  Assembly assembly(file, std::move(meta), moving);
  for (std::size_t i = 0; i < old.boxes.size(); ++i) {
    if (i == old.trailer) assembly.addPayloads();
    if (i == old.metaBox) {
      assembly.addMeta();
    } else if (&old.boxes[i] != tail) {
      assembly.addBox(old.boxes[i]);
    }
  }
  if (old.trailer == old.boxes.size()) assembly.addPayloads();
  return assembly.finish();
}

OutputPlan layOutAnew(const ByteSource& file, const File& old, Meta meta,
                      const std::vector<Payload>& payloads) {
  static const std::set<std::string_view> replaced{"mdat", "moov", "free", "skip", "wide"};
  std::vector<const Payload*> moving;
  for (const Payload& payload : payloads) moving.push_back(&payload);
  Assembly assembly(file, std::move(meta), moving);
  for (std::size_t i = 0; i < old.trailer; ++i) {
    const FileBox& box = old.boxes[i];
    if (i == 0 && old.hasMovie()) {
      assembly.addFileType(withoutSequenceBrands(file.read(box.contentOffset(), box.contentSize())));
    } else if (i == old.metaBox) {
      assembly.addMeta();
    } else if (!replaced.contains(box.type)) {
      assembly.addBox(box);
    }
  }
  assembly.addItemData();
  assembly.addPayloads();
  for (std::size_t i = old.trailer; i < old.boxes.size(); ++i) assembly.addBox(old.boxes[i]);
  return assembly.finish();
}

}  // namespace tollbrook::ImageMetadata::Heif
