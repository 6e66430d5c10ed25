#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What IPTC captions stand among: the datasets of the Information Interchange Model (IIM 4.2) and Photoshop
/// image resources. Pure functions; Refused for what cannot be read.
namespace tollbrook::ImageMetadata {

constexpr char datasetMarker = 0x1C;  ///< the first byte of every dataset

/// A dataset of IIM 4.2, 1.5.
struct IptcDataset {
  std::uint8_t record;
  std::uint8_t number;
  std::string value;
  std::string bytes;  ///< all of it, as it stands in the file; empty for one that was changed

  bool is(int wantedRecord, int wantedNumber) const {
    return record == wantedRecord && number == wantedNumber;
  }
  bool isCaption() const { return is(2, 120); }
  bool isCharacterSet() const { return is(1, 90); }
  /// Whether the value is text: in the application record all but its version and previews (IIM 4.2,
  /// chapter 6).
  bool isText() const;
  /// How long IIM 4.2, chapter 6, lets the text be; any length where it holds no words.
  std::size_t mostBytes() const;
};

/// The datasets, behind which padding may stand.
std::vector<IptcDataset> parseDatasets(std::string_view bytes);
std::string bytesOf(const std::vector<IptcDataset>& datasets);

enum class IptcCharacters { utf8, latin1, unknown };

/// What the record says about its text, or what is usual where it says nothing. Unknown too where it says
/// different things, or nothing before the first text: that readers take for something else.
IptcCharacters charactersOf(const std::vector<IptcDataset>& datasets);

/// A Photoshop image resource (Adobe Photoshop File Formats Specification, Image Resource Blocks).
struct PhotoshopResource {
  std::uint16_t id;
  std::string name;  ///< with its length and its padding, and the signature before it
  std::string data;

  bool isIptc() const { return id == 0x0404; }
  bool isIptcDigest() const { return id == 0x0425; }
  bool isXmp() const { return id == 0x0424; }
  bool isExif() const { return id == 0x0422 || id == 0x0423; }
};

struct PhotoshopResources {
  std::vector<PhotoshopResource> list;
  std::string rest;  ///< padding

  static PhotoshopResources parse(std::string_view bytes);
  std::string bytes() const;
};

}  // namespace tollbrook::ImageMetadata
