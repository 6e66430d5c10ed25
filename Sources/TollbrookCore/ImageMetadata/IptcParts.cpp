#include "TollbrookCore/ImageMetadata/IptcParts.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>

#include "TollbrookCore/ImageMetadata/ByteSource.h"

namespace tollbrook::ImageMetadata {
namespace {

/// What any sound file stays far below; a damaged one must not fill the memory.
constexpr std::size_t mostParts = 100000;

std::string bytesOf(const IptcDataset& dataset) {
  if (!dataset.bytes.empty()) return dataset.bytes;
  std::string bytes{datasetMarker, static_cast<char>(dataset.record), static_cast<char>(dataset.number)};
  const std::uint64_t length = dataset.value.size();
  if (length <= 0x7FFF) {
    bytes += numberBytes(length, 2);
  } else {
    bytes += numberBytes(0x8004, 2) + numberBytes(length, 4);
  }
  return bytes + dataset.value;
}

bool startsResource(std::string_view bytes) {
  constexpr std::array<std::string_view, 5> signatures{"8BIM", "MeSa", "AgHg", "PHUT", "DCSR"};
  return std::find(signatures.begin(), signatures.end(), bytes.substr(0, 4)) != signatures.end();
}

}  // namespace

bool IptcDataset::isText() const {
  constexpr std::array<int, 5> binary{0, 125, 200, 201, 202};
  return record == 2 && std::find(binary.begin(), binary.end(), number) == binary.end();
}

std::size_t IptcDataset::mostBytes() const {
  static const std::map<int, std::size_t> most{
      {3, 67},   {4, 68},   {5, 64},    {7, 64},   {12, 236}, {15, 3},    {20, 32},   {22, 32}, {25, 64},
      {27, 64},  {40, 256}, {65, 32},   {70, 10},  {80, 32},  {85, 32},   {90, 32},   {92, 32}, {95, 32},
      {101, 64}, {103, 32}, {105, 256}, {110, 32}, {115, 32}, {116, 128}, {118, 128}, {122, 32}};
  const auto found = most.find(number);
  return record != 2 || found == most.end() ? std::numeric_limits<std::size_t>::max() : found->second;
}

std::vector<IptcDataset> parseDatasets(std::string_view bytes) {
  std::vector<IptcDataset> result;
  std::size_t at = 0;
  while (at < bytes.size() && bytes[at] == datasetMarker) {
    if (result.size() == mostParts) throw Refused("there are too many IPTC datasets");
    const auto record = static_cast<std::uint8_t>(numberAt(bytes, at + 1, 1));
    const auto number = static_cast<std::uint8_t>(numberAt(bytes, at + 2, 1));
    std::size_t header = 5;
    std::uint64_t length = numberAt(bytes, at + 3, 2);
    if ((length & 0x8000) != 0) {  // an extended dataset: the length of the length
      const std::size_t width = length & 0x7FFF;
      if (width > 4) throw Refused("an IPTC dataset is too long");
      header += width;
      length = numberAt(bytes, at + 5, width);
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

std::string bytesOf(const std::vector<IptcDataset>& datasets) {
  std::string bytes;
  for (const IptcDataset& dataset : datasets) bytes += bytesOf(dataset);
  return bytes;
}

IptcCharacters charactersOf(const std::vector<IptcDataset>& datasets) {
  const auto isCharacterSet = [](const IptcDataset& one) { return one.isCharacterSet(); };
  const auto declared = std::find_if(datasets.begin(), datasets.end(), isCharacterSet);
  if (declared == datasets.end()) return IptcCharacters::latin1;
  const bool isBehindText =
      std::any_of(datasets.begin(), declared, [](const IptcDataset& one) { return one.record > 1; });
  // Some programs say the same several times.
  const bool saysOtherwise = std::any_of(declared, datasets.end(), [&](const IptcDataset& one) {
    return one.isCharacterSet() && one.value != declared->value;
  });
  if (isBehindText || saysOtherwise) return IptcCharacters::unknown;
  const std::string_view value = declared->value;
  if (value == "\x1B%G" || value == "\x1B%/G" || value == "\x1B%/H" || value == "\x1B%/I") {
    return IptcCharacters::utf8;
  }
  return value.empty() || value == "\x1B.A" || value == "\x1B-A" ? IptcCharacters::latin1
                                                                 : IptcCharacters::unknown;
}

PhotoshopResources PhotoshopResources::parse(std::string_view bytes) {
  PhotoshopResources result;
  std::size_t at = 0;
  while (startsResource(bytes.substr(at))) {
    if (result.list.size() == mostParts) throw Refused("there are too many Photoshop resources");
    const auto id = static_cast<std::uint16_t>(numberAt(bytes, at + 4, 2));
    const std::size_t nameLength = (numberAt(bytes, at + 6, 1) + 2) & ~std::uint64_t{1};
    const std::size_t dataAt = at + 6 + nameLength + 4;
    const std::uint64_t length = numberAt(bytes, at + 6 + nameLength, 4);
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

std::string PhotoshopResources::bytes() const {
  std::string bytes;
  for (const PhotoshopResource& resource : list) {
    bytes += resource.name + numberBytes(resource.data.size(), 4) + resource.data;
    if (resource.data.size() % 2 != 0) bytes += '\0';
  }
  return bytes + rest;
}

}  // namespace tollbrook::ImageMetadata
