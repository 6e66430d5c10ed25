#include "TollbrookCore/ImageMetadata/JpegTrailer.h"

#include <algorithm>
#include <vector>

#include "TollbrookCore/ImageMetadata/TiffOccupancy.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata::Jpeg {
namespace {

/// The trailer of the AXS File Concatenation Protocol says where its parts lie from the start of the file.
bool endsWithAbsolutePlaces(const ByteSource& file) {
  constexpr std::uint64_t footerSize = 12;
  if (file.size() < footerSize) return false;
  const std::string footer = file.read(file.size() - footerSize, 4);
  return footer == "AXS!" || footer == "AXS*";
}

/// Where a number in the maker note could lead behind the start of the first scan, in order. Its form is the
/// maker's own, so every four bytes are taken for a number.
std::vector<std::uint64_t> placesInNote(const std::string& note, std::uint64_t block, std::uint64_t noteStart,
                                        const ByteSource& file, std::uint64_t scans) {
  // Makers count from the EXIF header, from their note, or from a header of its own behind a mark in it.
  constexpr std::uint64_t markSize = 10;
  std::vector<std::uint64_t> places;
  for (std::size_t at = 0; at + 4 <= note.size(); ++at) {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
      const std::uint64_t number = numberAt(note, at, 4, order);
      for (const std::uint64_t base : {block, noteStart, noteStart + markSize}) {
        if (base + number >= scans && base + number < file.size()) places.push_back(base + number);
      }
    }
  }
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

/// Whether a picture begins there; some cameras keep a wrong first byte. Coded data never hold such a marker.
bool startsPicture(const ByteSource& file, std::uint64_t place) {
  const std::string start = file.readUpTo(place, 4);
  return start.size() == 4 && start.compare(1, 2, "\xD8\xFF") == 0 &&
         startsSegment(static_cast<std::uint8_t>(start[3]));
}

/// Some makers keep a large preview behind the image and its place in the maker note.
bool noteLeadsToPreview(const ByteSource& file, const Layout& layout, const TiffReader& exif,
                        std::uint64_t start) {
  const TiffEntry* const note = exif.exif() != nullptr ? exif.exif()->find(TiffTag::makerNote) : nullptr;
  if (note == nullptr || !note->value) return false;
  const auto places = placesInNote(exif.block().read(note->value->offset, note->value->length), start,
                                   start + note->value->offset, file, layout.scans);
  return std::any_of(places.begin(), places.end(),
                     [&](std::uint64_t place) { return startsPicture(file, place); });
}

/// Whether the Exif segment says of something behind the image how far away it is.
bool exifLeadsBehind(const ByteSource& file, const Layout& layout, const Segment& segment) {
  if (segment.payloadLength < exifMark.size()) return false;
  const std::uint64_t start = segment.payloadOffset + exifMark.size();
  const std::string bytes = file.read(start, segment.payloadLength - exifMark.size());
  const MemorySource block(bytes);
  const TiffReader exif(block);
  const TiffArea trailer{.offset = layout.scans - start, .length = file.size() - layout.scans};
  return noteLeadsToPreview(file, layout, exif, start) || TiffOccupancy(exif).hasPieceBehind(trailer);
}

}  // namespace

bool trailerMustNotMove(const ByteSource& file, const Layout& layout) {
  return endsWithAbsolutePlaces(file) ||
         std::any_of(layout.segments.begin(), layout.segments.end(), [&](const Segment& segment) {
           return segment.is(app1, exifHeader) && exifLeadsBehind(file, layout, segment);
         });
}

}  // namespace tollbrook::ImageMetadata::Jpeg
