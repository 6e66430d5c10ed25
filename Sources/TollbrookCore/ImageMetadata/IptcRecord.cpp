#include "TollbrookCore/ImageMetadata/IptcRecord.h"

#include <openssl/evp.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::ImageMetadata {
namespace {

constexpr char tagMarker = 0x1C;
/// What any sound file stays far below; a damaged one must not fill the memory.
constexpr std::size_t mostParts = 100000;
constexpr std::string_view utf8Declared = "\x1B%G";
constexpr std::uint16_t iptcResource = 0x0404, iptcDigestResource = 0x0425;

/// A dataset of IIM 4.2, 1.5.
struct Dataset {
  std::uint8_t record;
  std::uint8_t number;
  std::string value;
  std::string bytes;  ///< all of it, as it stands in the file; empty for one that was changed

  bool is(int wantedRecord, int wantedNumber) const {
    return record == wantedRecord && number == wantedNumber;
  }
};

std::uint64_t bigNumber(std::string_view bytes, std::size_t offset, std::size_t width) {
  return numberAt(bytes, offset, width, ByteOrder::big);
}

/// Padding may follow the last.
std::vector<Dataset> parsed(std::string_view bytes) {
  std::vector<Dataset> result;
  std::size_t at = 0;
  while (at < bytes.size() && bytes[at] == tagMarker) {
    if (result.size() == mostParts) throw Refused("there are too many IPTC datasets");
    const auto record = static_cast<std::uint8_t>(bigNumber(bytes, at + 1, 1));
    const auto number = static_cast<std::uint8_t>(bigNumber(bytes, at + 2, 1));
    std::size_t header = 5;
    std::uint64_t length = bigNumber(bytes, at + 3, 2);
    if ((length & 0x8000) != 0) {  // an extended dataset: the length of the length
      const std::size_t width = length & 0x7FFF;
      if (width > 4) throw Refused("an IPTC dataset is too long");
      header += width;
      length = bigNumber(bytes, at + 5, width);
    }
    if (length > bytes.size() - at || header > bytes.size() - at - length) {
      throw Refused("an IPTC dataset runs past the end");
    }
    result.push_back({.record = record,
                      .number = number,
                      .value = std::string(bytes.substr(at + header, length)),
                      .bytes = std::string(bytes.substr(at, header + length))});
    at += header + length;
  }
  if (bytes.find_first_not_of('\0', at) != std::string::npos) {
    throw Refused("the IPTC record holds something unknown");
  }
  return result;
}

std::string bytesOf(const Dataset& dataset) {
  if (!dataset.bytes.empty()) return dataset.bytes;
  std::string bytes{tagMarker, static_cast<char>(dataset.record), static_cast<char>(dataset.number)};
  const std::uint64_t length = dataset.value.size();
  if (length <= 0x7FFF) {
    bytes += numberBytes(length, 2, ByteOrder::big);
  } else {
    bytes += numberBytes(0x8004, 2, ByteOrder::big) + numberBytes(length, 4, ByteOrder::big);
  }
  return bytes + dataset.value;
}

/// Whether the value of a dataset is text: in the application record all but its version and previews
/// (IIM 4.2, chapter 6).
bool isText(const Dataset& dataset) {
  constexpr std::array<int, 5> binary{0, 125, 200, 201, 202};
  return dataset.record == 2 && std::find(binary.begin(), binary.end(), dataset.number) == binary.end();
}

enum class CharacterSet { utf8, latin1, unknown };

/// What the record says about its text, or what is usual where it says nothing.
CharacterSet characterSetOf(const std::vector<Dataset>& datasets) {
  const auto declared =
      std::find_if(datasets.begin(), datasets.end(), [](const Dataset& one) { return one.is(1, 90); });
  if (declared == datasets.end()) return CharacterSet::latin1;
  const std::string_view value = declared->value;
  if (value == utf8Declared || value == "\x1B%/G" || value == "\x1B%/H" || value == "\x1B%/I") {
    return CharacterSet::utf8;
  }
  return value.empty() || value == "\x1B.A" || value == "\x1B-A" ? CharacterSet::latin1
                                                                 : CharacterSet::unknown;
}

std::string utf8FromLatin1(const std::string& text) {
  std::string result;
  // What programs call Latin-1 is mostly the code page that fills its gaps.
  icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size()), "windows-1252")
      .toUTF8String(result);
  return result;
}

void declareUtf8(std::vector<Dataset>& datasets) {
  const CharacterSet characters = characterSetOf(datasets);
  if (characters == CharacterSet::unknown) throw Refused("the IPTC record is in an unknown character set");
  if (characters == CharacterSet::latin1) {
    for (Dataset& dataset : datasets) {
      // Text that is well-formed UTF-8 by chance is not known to exist.
      if (!isText(dataset) || Text::isValidUtf8(dataset.value)) continue;
      dataset.value = utf8FromLatin1(dataset.value);
      dataset.bytes.clear();
    }
  }
  const bool isDeclared =
      std::any_of(datasets.begin(), datasets.end(), [](const Dataset& one) { return one.is(1, 90); });
  if (isDeclared && characters == CharacterSet::utf8) return;
  std::erase_if(datasets, [](const Dataset& one) { return one.is(1, 90); });
  const auto place = std::find_if(datasets.begin(), datasets.end(),
                                  [](const Dataset& one) { return one.record > 1 || one.number > 90; });
  datasets.insert(place, {.record = 1, .number = 90, .value = std::string(utf8Declared), .bytes = {}});
}

void setCaption(std::vector<Dataset>& datasets, std::string_view caption) {
  const auto isCaption = [](const Dataset& one) { return one.is(2, 120); };
  const auto first = std::find_if(datasets.begin(), datasets.end(), isCaption);
  if (first != datasets.end()) {
    if (first->value != caption)
      *first = {.record = 2, .number = 120, .value = std::string(caption), .bytes = {}};
    datasets.erase(std::remove_if(std::next(first), datasets.end(), isCaption), datasets.end());
    return;
  }
  const auto place = std::find_if(datasets.begin(), datasets.end(), [](const Dataset& one) {
    return one.record > 2 || (one.record == 2 && one.number > 120);
  });
  datasets.insert(place, {.record = 2, .number = 120, .value = std::string(caption), .bytes = {}});
}

/// A Photoshop image resource (Adobe Photoshop File Formats Specification, Image Resource Blocks).
struct Resource {
  std::uint16_t id;
  std::string name;  ///< with its length and its padding, and the signature before it
  std::string data;
};

struct Resources {
  std::vector<Resource> list;
  std::string rest;
};

Resources parsedResources(std::string_view bytes) {
  constexpr std::array<std::string_view, 5> signatures{"8BIM", "MeSa", "AgHg", "PHUT", "DCSR"};
  Resources result;
  std::size_t at = 0;
  const auto startsResource = [&] {
    return std::find(signatures.begin(), signatures.end(), bytes.substr(at, 4)) != signatures.end();
  };
  while (at < bytes.size() && startsResource()) {
    if (result.list.size() == mostParts) throw Refused("there are too many Photoshop resources");
    const auto id = static_cast<std::uint16_t>(bigNumber(bytes, at + 4, 2));
    const std::size_t nameLength = (bigNumber(bytes, at + 6, 1) + 2) & ~std::uint64_t{1};
    const std::size_t dataAt = at + 6 + nameLength + 4;
    const std::uint64_t length = bigNumber(bytes, at + 6 + nameLength, 4);
    if (length > bytes.size() - dataAt) throw Refused("a Photoshop resource runs past the end");
    result.list.push_back({.id = id,
                           .name = std::string(bytes.substr(at, 6 + nameLength)),
                           .data = std::string(bytes.substr(dataAt, length))});
    // The last one may lack its padding.
    at = std::min<std::size_t>(bytes.size(), dataAt + length + length % 2);
  }
  result.rest = bytes.substr(at);
  if (result.rest.find_first_not_of('\0') != std::string::npos) {
    throw Refused("the Photoshop resources hold something unknown");
  }
  return result;
}

std::string bytesOf(const Resources& resources) {
  std::string bytes;
  for (const Resource& resource : resources.list) {
    bytes += resource.name + numberBytes(resource.data.size(), 4, ByteOrder::big) + resource.data;
    if (resource.data.size() % 2 != 0) bytes += '\0';
  }
  return bytes + resources.rest;
}

std::string md5(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_md5(), nullptr) != 1) {
    throw Refused("the digest of the IPTC record cannot be renewed");
  }
  return {digest.begin(), digest.begin() + length};
}

void renewDigest(Resources& resources, std::string_view datasets) {
  for (Resource& resource : resources.list) {
    if (resource.id == iptcDigestResource) resource.data = md5(datasets);
  }
}

}  // namespace

std::string withIptcCaption(std::string_view datasets, std::string_view caption) {
  std::vector<Dataset> list = parsed(datasets);
  if (list.empty()) {
    // The version of the application record is mandatory (IIM 4.2, 2:00).
    list.push_back({.record = 2, .number = 0, .value = std::string("\0\4", 2), .bytes = {}});
  }
  setCaption(list, caption);
  declareUtf8(list);
  std::string bytes;
  for (const Dataset& dataset : list) bytes += bytesOf(dataset);
  return bytes;
}

std::string withCaptionInResources(std::string_view resources, std::string_view caption) {
  Resources parsed = parsedResources(resources);
  const auto isIptc = [](const Resource& one) { return one.id == iptcResource; };
  if (std::none_of(parsed.list.begin(), parsed.list.end(), isIptc)) {
    std::string name = "8BIM" + numberBytes(iptcResource, 2, ByteOrder::big) + std::string(2, '\0');
    parsed.list.push_back({.id = iptcResource, .name = std::move(name), .data = {}});
  }
  const Resource* first = nullptr;
  for (Resource& resource : parsed.list) {
    if (!isIptc(resource)) continue;
    resource.data = withIptcCaption(resource.data, caption);
    if (first == nullptr) first = &resource;
  }
  renewDigest(parsed, first->data);
  return bytesOf(parsed);
}

std::string withDigestOf(std::string_view datasets, std::string_view resources) {
  Resources parsed = parsedResources(resources);
  renewDigest(parsed, datasets);
  return bytesOf(parsed);
}

bool haveIptcResource(std::string_view resources) {
  const Resources parsed = parsedResources(resources);
  return std::any_of(parsed.list.begin(), parsed.list.end(),
                     [](const Resource& one) { return one.id == iptcResource; });
}

}  // namespace tollbrook::ImageMetadata
