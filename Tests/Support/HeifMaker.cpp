#include "Support/HeifMaker.h"

#include <map>

namespace tollbrook::test {
namespace {

std::string number(std::uint64_t value, std::size_t width) {
  std::string bytes(width, '\0');
  for (; width > 0; value >>= 8) bytes[--width] = static_cast<char>(value & 0xFF);
  return bytes;
}

std::string fullBox(const std::string& type, unsigned version, unsigned flags, const std::string& content) {
  return isoBox(type, number(version, 1) + number(flags, 3) + content);
}

/// Builds the file twice: the second time it is known where the data are.
class Maker {
 public:
  explicit Maker(const HeifShape& shape) : shape_(shape) {}

  std::string make() {
    file();
    return file();
  }

 private:
  std::size_t idWidth() const { return shape_.itemInfoVersion == 3 ? 4 : 2; }
  std::string id(std::uint32_t item) const { return number(item, idWidth()); }

  std::string file() {
    std::string bytes = fileType() + shape_.beforeMeta;
    if (!shape_.metaIsLast) bytes += meta() + shape_.behindMeta;
    bytes += mediaData(bytes.size());
    if (shape_.metaIsLast) {
      lastBox_ = bytes.size();
      bytes += meta() + shape_.behindMeta;
    }
    if (shape_.lastBoxIsOpen) bytes.replace(lastBox_, 4, number(0, 4));
    return bytes + shape_.trailer;
  }

  std::string fileType() const {
    std::string content = shape_.major + number(0, 4);
    for (const std::string& brand : shape_.brands) content += brand;
    return isoBox("ftyp", content);
  }

  std::string mediaData(std::size_t start) {
    lastBox_ = start;
    std::string content;
    for (const auto& item : shape_.items) {
      if (item.inItemData) continue;
      offsets_[item.id] = start + 8 + content.size();
      content += item.data;
    }
    return isoBox("mdat", content);
  }

  std::string meta() {
    std::string content = fullBox("hdlr", 0, 0, number(0, 4) + "pict" + number(0, 13));
    content += fullBox("pitm", idWidth() == 2 ? 0 : 1, 0, id(shape_.primary));
    const std::string data = itemData();
    content += fullBox("iloc", shape_.locationVersion, 0, locations()) + itemInfo();
    if (shape_.hasReferenceTable) content += references();
    content += properties();
    if (!shape_.groups.empty()) content += groups();
    if (!data.empty()) content += isoBox("idat", data);
    return fullBox("meta", 0, 0, content);
  }

  std::string itemData() {
    std::string data;
    for (const auto& item : shape_.items) {
      if (!item.inItemData) continue;
      offsets_[item.id] = data.size();
      data += item.data;
    }
    return data;
  }

  std::string locations() const {
    const std::size_t locationIdWidth = shape_.locationVersion == 2 ? 4 : 2;
    std::string bytes = number(shape_.offsetWidth << 4 | shape_.lengthWidth, 1) +
                        number(shape_.baseWidth << 4 | shape_.indexWidth, 1) +
                        number(shape_.items.size(), locationIdWidth);
    for (const auto& item : shape_.items) {
      bytes += number(item.id, locationIdWidth);
      if (shape_.locationVersion > 0) bytes += number(item.inItemData ? 1 : 0, 2);
      bytes += number(shape_.dataReference, 2) + extents(item);
    }
    return bytes;
  }

  std::string extents(const HeifShape::Item& item) const {
    const auto found = offsets_.find(item.id);
    const std::uint64_t offset = found == offsets_.end() ? 0 : found->second;
    const std::uint64_t base = shape_.offsetWidth == 0 ? offset : shape_.baseWidth == 0 ? 0 : offset / 2;
    std::string bytes = number(base, shape_.baseWidth) + number(item.parts, 2);
    std::size_t done = 0;
    for (std::size_t part = 1; part <= item.parts; ++part) {
      const std::size_t end = item.data.size() * part / item.parts;
      bytes += number(0, shape_.indexWidth) + number(offset - base + done, shape_.offsetWidth) +
               number(end - done, shape_.lengthWidth);
      done = end;
    }
    return bytes;
  }

  std::string itemInfo() const {
    std::string bytes = number(shape_.items.size(), 2);
    for (const auto& item : shape_.items) {
      std::string content = id(item.id) + number(0, 2) + item.type + '\0';
      if (item.type == "mime") content += item.contentType + '\0';
      if (!item.contentEncoding.empty()) content += item.contentEncoding + '\0';
      bytes += fullBox("infe", shape_.itemInfoVersion, item.isHidden ? 1 : 0, content);
    }
    return fullBox("iinf", 0, 0, bytes);
  }

  std::string references() const {
    std::string bytes;
    for (const auto& reference : shape_.references) {
      std::string content = id(reference.from) + number(reference.to.size(), 2);
      for (const std::uint32_t to : reference.to) content += id(to);
      bytes += isoBox(reference.type, content);
    }
    return fullBox("iref", idWidth() == 2 ? 0 : 1, 0, bytes);
  }

  std::string properties() const {
    std::string associations, extents;
    std::size_t count = 0;
    std::map<std::uint32_t, std::size_t> places;
    for (const auto& item : shape_.items) {
      if (!item.isImage) continue;
      const auto [place, isNew] = places.emplace(item.width, places.size() + 1);
      if (isNew) extents += fullBox("ispe", 0, 0, number(item.width, 4) + number(48, 4));
      associations += id(item.id) + number(1, 1) + number(place->second, 1);
      ++count;
    }
    return isoBox("iprp", isoBox("ipco", extents) +
                              fullBox("ipma", idWidth() == 2 ? 0 : 1, 0, number(count, 4) + associations));
  }

  std::string groups() const {
    std::string bytes;
    for (const auto& group : shape_.groups) {
      std::string content = number(group.id, 4) + number(group.entities.size(), 4);
      for (const std::uint32_t entity : group.entities) content += number(entity, 4);
      bytes += fullBox(group.type, 0, 0, content);
    }
    return isoBox("grpl", bytes);
  }

  const HeifShape& shape_;
  std::map<std::uint32_t, std::uint64_t> offsets_;
  std::size_t lastBox_ = 0;
};

}  // namespace

std::string isoBox(const std::string& type, const std::string& content) {
  return number(content.size() + 8, 4) + type + content;
}

std::string makeHeif(const HeifShape& shape) { return Maker(shape).make(); }

std::string exifItem() { return number(6, 4) + "Exif" + number(0, 2) + exifBlock(); }

std::string exifBlock() {
  constexpr std::uint64_t maker = 0x010F, ascii = 2;
  return "MM" + number(42, 2) + number(8, 4) + number(1, 2) + number(maker, 2) + number(ascii, 2) +
         number(5, 4) + number(26, 4) + number(0, 4) + "Acme" + number(0, 2);
}

}  // namespace tollbrook::test
