#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

/// The marker segments of a JPEG file (ITU-T T.81, annex B).
namespace tollbrook::ImageMetadata::Jpeg {

constexpr std::string_view exifHeader = exifMark.substr(0, 5);  ///< a sixth byte follows, mostly NUL
constexpr std::string_view extendedXmpHeader{"http://ns.adobe.com/xmp/extension/\0", 35};
constexpr std::string_view photoshopHeader{"Photoshop 3.0\0", 14};
constexpr std::string_view mpfHeader{"MPF\0", 4};
constexpr std::string_view jfifHeader{"JFIF\0", 5};

constexpr std::uint8_t app0 = 0xE0, app1 = 0xE1, app2 = 0xE2, app13 = 0xED;
/// The most bytes that a segment holds after its length.
constexpr std::uint64_t mostPayload = 65533;

struct Segment {
  std::uint8_t marker;
  std::uint64_t offset;  ///< of its first byte, fill bytes included
  std::uint64_t length;  ///< with fill bytes, marker and length
  std::uint64_t payloadOffset;
  std::uint64_t payloadLength;
  std::string start;  ///< the first bytes of the payload, as many as the headers above have

  bool is(std::uint8_t wanted, std::string_view header) const {
    return marker == wanted && start.starts_with(header);
  }
};

struct Layout {
  std::vector<Segment> segments;  ///< from the start of the image to its first scan
  std::uint32_t width = 0;        ///< of the frame, in pixels
  std::uint32_t height = 0;
  std::uint64_t scans = 0;  ///< offset of the first scan, from which on nothing changes
};

/// The segments before the first scan. Refused when there is no sound frame and scan, or no end of the image.
Layout readLayout(const ByteSource& file);

/// Whether a marker of this code has a segment behind it; coded data hold none such.
bool startsSegment(std::uint8_t marker);

/// The bytes of a segment; Refused when the payload is too long.
std::string segmentBytes(std::uint8_t marker, std::string_view payload);

}  // namespace tollbrook::ImageMetadata::Jpeg
