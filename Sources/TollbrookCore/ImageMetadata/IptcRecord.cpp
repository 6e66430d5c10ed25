#include "TollbrookCore/ImageMetadata/IptcRecord.h"

#include <openssl/evp.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/IptcParts.h"
#include "TollbrookCore/ImageMetadata/MetadataVerifier.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::ImageMetadata {
namespace {

std::string utf8FromLatin1(const std::string& text) {
  std::string result;
  // What programs call Latin-1 is mostly the code page that fills its gaps.
  icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size()), "windows-1252")
      .toUTF8String(result);
  return result;
}

IptcDataset newDataset(std::uint8_t record, std::uint8_t number, std::string_view value) {
  return {.record = record, .number = number, .value = std::string(value), .bytes = {}};
}

void declareUtf8(std::vector<IptcDataset>& datasets) {
  const IptcCharacters characters = charactersOf(datasets);
  if (characters == IptcCharacters::utf8) return;
  if (characters == IptcCharacters::unknown) throw Refused("the IPTC record is in an unknown character set");
  for (IptcDataset& dataset : datasets) {
    // Text that is well-formed UTF-8 by chance is not known to exist.
    if (!dataset.isText() || Text::isValidUtf8(dataset.value)) continue;
    dataset.value = utf8FromLatin1(dataset.value);
    dataset.bytes.clear();
    // Readers may cut it there, and a cut text in UTF-8 may end within a character.
    if (dataset.value.size() > dataset.mostBytes())
      throw Refused("a text of IPTC would be too long in UTF-8");
  }
  std::erase_if(datasets, [](const IptcDataset& one) { return one.isCharacterSet(); });
  const auto place = std::find_if(datasets.begin(), datasets.end(),
                                  [](const IptcDataset& one) { return one.record > 1 || one.number > 90; });
  datasets.insert(place, newDataset(1, 90, "\x1B%G"));
}

void setCaption(std::vector<IptcDataset>& datasets, std::string_view caption) {
  const auto isCaption = [](const IptcDataset& one) { return one.isCaption(); };
  const auto first = std::find_if(datasets.begin(), datasets.end(), isCaption);
  if (first != datasets.end()) {
    if (first->value != caption) *first = newDataset(2, 120, caption);
    datasets.erase(std::remove_if(std::next(first), datasets.end(), isCaption), datasets.end());
    return;
  }
  const auto place = std::find_if(datasets.begin(), datasets.end(), [](const IptcDataset& one) {
    return one.record > 2 || (one.record == 2 && one.number > 120);
  });
  datasets.insert(place, newDataset(2, 120, caption));
}

std::string md5(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_md5(), nullptr) != 1) {
    throw Refused("the digest of the IPTC record cannot be renewed");
  }
  return {digest.begin(), digest.begin() + length};
}

void renewDigest(PhotoshopResources& resources, std::string_view datasets) {
  for (PhotoshopResource& resource : resources.list) {
    if (resource.isIptcDigest()) resource.data = md5(datasets);
  }
}

}  // namespace

std::string withIptcCaption(std::string_view datasets, std::string_view caption) {
  std::vector<IptcDataset> list = parseDatasets(datasets);
  // The version of the application record is mandatory (IIM 4.2, 2:00).
  if (list.empty()) list.push_back(newDataset(2, 0, std::string_view("\0\4", 2)));
  setCaption(list, caption);
  declareUtf8(list);
  std::string result = bytesOf(list);
  verifyIptc(datasets, result, caption);
  return result;
}

std::string withCaptionInResources(std::string_view resources, std::string_view caption) {
  PhotoshopResources parsed = PhotoshopResources::parse(resources);
  auto& list = parsed.list;
  const auto isIptc = [](const PhotoshopResource& one) { return one.isIptc(); };
  const auto count = static_cast<std::size_t>(std::count_if(list.begin(), list.end(), isIptc));
  if (count > mostPlaces) throw Refused("there are too many IPTC resources");
  if (count == 0) {
    list.push_back({.id = 0x0404, .name = std::string("8BIM\x04\x04\0\0", 8), .data = {}});
  }
  for (PhotoshopResource& resource : list) {
    if (resource.isIptc()) resource.data = withIptcCaption(resource.data, caption);
  }
  renewDigest(parsed, std::find_if(list.begin(), list.end(), isIptc)->data);
  std::string result = parsed.bytes();
  verifyResources(resources, result, caption);
  return result;
}

std::string withDigestOf(std::string_view datasets, std::string_view resources) {
  PhotoshopResources parsed = PhotoshopResources::parse(resources);
  renewDigest(parsed, datasets);
  std::string result = parsed.bytes();
  verifyResources(resources, result, std::nullopt);
  return result;
}

bool haveIptcCaption(std::string_view datasets) {
  const auto list = parseDatasets(datasets);
  return std::any_of(list.begin(), list.end(), [](const auto& one) { return one.isCaption(); });
}

bool haveCaptionInResources(std::string_view resources) {
  const auto list = PhotoshopResources::parse(resources).list;
  return std::any_of(list.begin(), list.end(),
                     [](const auto& one) { return one.isIptc() && haveIptcCaption(one.data); });
}

bool areResources(std::string_view bytes) {
  try {
    PhotoshopResources::parse(bytes);
    return true;
  } catch (const Refused&) {
    return false;
  }
}

bool haveIptcResource(std::string_view resources) {
  const auto list = PhotoshopResources::parse(resources).list;
  return std::any_of(list.begin(), list.end(), [](const auto& one) { return one.isIptc(); });
}

}  // namespace tollbrook::ImageMetadata
