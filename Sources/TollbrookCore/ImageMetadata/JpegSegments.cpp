#include "TollbrookCore/ImageMetadata/JpegSegments.h"

#include <algorithm>

namespace tollbrook::ImageMetadata::Jpeg {
namespace {

constexpr std::uint8_t startOfScan = 0xDA, endOfImage = 0xD9;
constexpr std::size_t mostSegments = 10000;

/// Start of frame, of any coding (T.81, table B.1).
bool isFrame(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

bool isRestart(std::uint8_t marker) { return marker >= 0xD0 && marker <= 0xD7; }

/// Reads forward, a piece at a time.
class Scanner {
 public:
  Scanner(const ByteSource& file, std::uint64_t offset) : file_(file), pieceAt_(offset), at_(offset) {}

  /// The marker after the next 0xFF that is no part of coded data, and nothing more of it is read.
  std::uint8_t nextMarker() {
    for (;;) {
      skipToFF();
      std::uint8_t marker = 0xFF;
      while (marker == 0xFF) marker = next();
      if (marker != 0 && !isRestart(marker)) return marker;
    }
  }

  void skipSegment() {
    const std::uint64_t length = file_.number(at_, 2);
    if (length < 2 || !file_.contains(at_, length)) throw Refused("a segment runs past the end");
    at_ += length;
  }

 private:
  static constexpr std::uint64_t pieceSize = std::uint64_t{64} << 10;

  void fill() {
    if (at_ >= pieceAt_ && at_ - pieceAt_ < piece_.size()) return;
    piece_ = file_.readUpTo(at_, pieceSize);
    if (piece_.empty()) throw Refused("the image has no end");
    pieceAt_ = at_;
  }

  std::uint8_t next() {
    fill();
    return static_cast<std::uint8_t>(piece_[at_++ - pieceAt_]);
  }

  void skipToFF() {
    for (;;) {
      fill();
      const std::size_t found = piece_.find('\xFF', at_ - pieceAt_);
      if (found != std::string::npos) {
        at_ = pieceAt_ + found + 1;
        return;
      }
      at_ = pieceAt_ + piece_.size();
    }
  }

  const ByteSource& file_;
  std::uint64_t pieceAt_;
  std::string piece_;
  std::uint64_t at_;
};

void requireEnd(const ByteSource& file, std::uint64_t scans) {
  // Coded data never hold these two bytes; what follows the image may lack them.
  if (file.size() >= scans + 4 && file.read(file.size() - 2, 2) == "\xFF\xD9") return;
  Scanner scanner(file, scans);
  while (true) {
    const std::uint8_t marker = scanner.nextMarker();
    if (marker == endOfImage) return;
    scanner.skipSegment();
  }
}

/// The segment at `offset`; for the start of a scan only its marker and place.
Segment readSegment(const ByteSource& file, std::uint64_t offset) {
  constexpr std::uint64_t longestHeader = extendedXmpHeader.size();
  if (file.number(offset, 1) != 0xFF) throw Refused("there is no marker where a segment must begin");
  std::uint64_t at = offset + 1;
  std::uint64_t marker = 0xFF;
  while (marker == 0xFF) marker = file.number(at++, 1);  // fill bytes may precede a marker
  Segment segment{.marker = static_cast<std::uint8_t>(marker), .offset = offset};
  if (segment.marker == startOfScan) return segment;
  if (!startsSegment(segment.marker)) throw Refused("a marker is in the wrong place");
  const std::uint64_t length = file.number(at, 2);
  if (length < 2 || !file.contains(at, length)) throw Refused("a segment runs past the end");
  segment.length = at + length - offset;
  segment.payloadOffset = at + 2;
  segment.payloadLength = length - 2;
  segment.start = file.read(segment.payloadOffset, std::min(segment.payloadLength, longestHeader));
  return segment;
}

}  // namespace

Layout readLayout(const ByteSource& file) {
  if (file.readUpTo(0, 2) != "\xFF\xD8") throw Refused("this is no JPEG");
  Layout layout;
  std::uint64_t offset = 2;
  bool hasFrame = false;
  for (;;) {
    Segment segment = readSegment(file, offset);
    if (segment.marker == startOfScan) break;
    if (layout.segments.size() == mostSegments) throw Refused("there are too many segments");
    if (isFrame(segment.marker)) {
      hasFrame = true;
      layout.height = static_cast<std::uint32_t>(file.number(segment.payloadOffset + 1, 2));
      layout.width = static_cast<std::uint32_t>(file.number(segment.payloadOffset + 3, 2));
    }
    offset += segment.length;
    layout.segments.push_back(std::move(segment));
  }
  if (!hasFrame) throw Refused("there is no frame before the first scan");
  layout.scans = offset;
  requireEnd(file, offset);
  return layout;
}

bool startsSegment(std::uint8_t marker) {
  constexpr std::uint8_t stuffing = 0x00, temporary = 0x01, startOfImage = 0xD8;
  return marker != stuffing && marker != temporary && !isRestart(marker) && marker != startOfImage &&
         marker != endOfImage;
}

std::string segmentBytes(std::uint8_t marker, std::string_view payload) {
  if (payload.size() > mostPayload) throw Refused("the metadata do not fit into a segment");
  std::string bytes{'\xFF', static_cast<char>(marker)};
  bytes += numberBytes(payload.size() + 2, 2);
  return bytes.append(payload);
}

}  // namespace tollbrook::ImageMetadata::Jpeg
