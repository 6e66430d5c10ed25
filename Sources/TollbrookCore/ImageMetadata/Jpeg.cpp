#include "TollbrookCore/ImageMetadata/Jpeg.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "TollbrookCore/ImageMetadata/ExifEdits.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/JpegExtendedXmp.h"
#include "TollbrookCore/ImageMetadata/JpegSegments.h"
#include "TollbrookCore/ImageMetadata/JpegTrailer.h"
#include "TollbrookCore/ImageMetadata/MultiPicture.h"
#include "TollbrookCore/ImageMetadata/PhotoshopTags.h"
#include "TollbrookCore/ImageMetadata/TiffMetadata.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata::Jpeg {
namespace {

constexpr std::uint64_t startOfImageSize = 2;
constexpr std::uint32_t uncalibrated = 0xFFFF;  ///< ColorSpace

struct Resolution {
  std::uint32_t x, y;
  std::uint32_t unit;  ///< as EXIF counts: 2 inch, 3 centimetre
};

/// What JFIF says, so that a new EXIF block agrees with it; else what Exif presumes.
Resolution resolutionOf(const Layout& layout) {
  for (const Segment& segment : layout.segments) {
    if (!segment.is(app0, jfifHeader) || segment.start.size() < 12) continue;
    const auto number = [&](std::size_t at, std::size_t width) {
      return static_cast<std::uint32_t>(numberAt(segment.start, at, width));
    };
    const Resolution resolution{.x = number(8, 2), .y = number(10, 2), .unit = number(7, 1) + 1};
    const bool isAbsolute = resolution.unit == 2 || resolution.unit == 3;
    if (isAbsolute && resolution.x != 0 && resolution.y != 0) return resolution;
  }
  return {.x = 72, .y = 72, .unit = 2};
}

bool holdsTiffHeader(std::string_view start) {
  return start.find(std::string_view("II*\0", 4)) != start.npos ||
         start.find(std::string_view("MM\0*", 4)) != start.npos;
}

std::vector<std::size_t> segmentsIn(const Layout& layout, std::uint8_t marker, std::string_view header) {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < layout.segments.size(); ++i) {
    if (layout.segments[i].is(marker, header)) found.push_back(i);
  }
  return found;
}

/// What stands before the first scan afterwards.
class Editor {
 public:
  Editor(const ByteSource& file, const TargetTags& target);

  OutputPlan plan();
  const Layout& layout() const { return layout_; }

 private:
  void requireKnownHeaders() const;
  void editExif();
  void addMandatoryTags(TiffEdits& edits) const;
  void editXmp();
  void editResources();
  void addResources();
  void editEachList(const std::vector<std::size_t>& segments);
  void editJoinedList(const std::vector<std::size_t>& segments);
  void followMultiPicture();
  /// Visits what stands before the first scan afterwards: new segments and old ones, in order.
  template <typename VisitNew, typename VisitOld>
  void forEachPart(const VisitNew& visitNew, const VisitOld& visitOld) const;
  void verify(const OutputPlan& plan) const;
  void verifyMultiPicture(const OutputPlan& plan, const Layout& now) const;

  std::string payload(std::size_t segment) const {
    return file_.read(layout_.segments[segment].payloadOffset, layout_.segments[segment].payloadLength);
  }
  std::string resourcesIn(std::size_t segment) const {
    return payload(segment).substr(photoshopHeader.size());
  }
  std::vector<std::size_t> segmentsOf(std::uint8_t marker, std::string_view header) const {
    return segmentsIn(layout_, marker, header);
  }
  /// Leaves a segment alone that is to become what it is.
  void setPayload(std::size_t segment, const std::string& bytes);
  /// How many bytes longer everything from this segment to the first scan becomes.
  std::int64_t growthFrom(std::size_t segment) const;
  /// Behind Exif and what must come before it.
  std::size_t placeOfExif() const;

  const ByteSource& file_;
  const TargetTags& target_;
  Layout layout_;
  std::map<std::size_t, std::string> replaced_;  ///< by index; empty: the segment goes
  std::map<std::size_t, std::string> inserted_;  ///< before the segment of this index
};

Editor::Editor(const ByteSource& file, const TargetTags& target)
    : file_(file), target_(target), layout_(readLayout(file)) {}

OutputPlan Editor::plan() {
  requireKnownHeaders();
  editExif();
  editXmp();
  editResources();
  followMultiPicture();
  OutputPlan plan(file_);
  plan.copy(0, startOfImageSize);
  forEachPart([&](const std::string& bytes) { plan.add(bytes); },
              [&](const Segment& segment) { plan.copy(segment.offset, segment.length); });
  plan.copy(layout_.scans, file_.size() - layout_.scans);
  verify(plan);
  return plan;
}

template <typename VisitNew, typename VisitOld>
void Editor::forEachPart(const VisitNew& visitNew, const VisitOld& visitOld) const {
  for (std::size_t i = 0; i <= layout_.segments.size(); ++i) {
    if (const auto found = inserted_.find(i); found != inserted_.end()) visitNew(found->second);
    if (i == layout_.segments.size()) break;
    if (const auto found = replaced_.find(i); found != replaced_.end()) {
      visitNew(found->second);
    } else {
      visitOld(layout_.segments[i]);
    }
  }
}

void Editor::setPayload(std::size_t segment, const std::string& bytes) {
  if (bytes != payload(segment)) replaced_[segment] = segmentBytes(layout_.segments[segment].marker, bytes);
}

std::size_t Editor::placeOfExif() const {
  std::size_t place = 0;
  while (place < layout_.segments.size() && layout_.segments[place].marker == app0) ++place;
  return place;
}

// Some readers find EXIF and XMP behind any header.
void Editor::requireKnownHeaders() const {
  for (std::size_t i = 0; i < layout_.segments.size(); ++i) {
    const Segment& segment = layout_.segments[i];
    const bool isKnown =
        segment.is(app1, exifHeader) || segment.is(app1, xmpHeader) || segment.is(app1, extendedXmpHeader);
    if (segment.marker != app1 || isKnown) continue;
    if (holdsTiffHeader(segment.start)) throw Refused("there is EXIF behind an unknown header");
    if (holdsXmp(payload(i))) throw Refused("there is XMP behind an unknown header");
  }
}

void Editor::editExif() {
  TiffEdits edits = exifEdits(target_);
  addMandatoryTags(edits);
  edits.sizeLimit = mostPayload - exifMark.size();
  const auto segments = segmentsOf(app1, exifHeader);
  if (segments.size() > 1) throw Refused("there are several Exif segments");
  if (segments.empty()) {
    inserted_[placeOfExif()] = segmentBytes(app1, std::string(exifMark) + newExifBlock(edits));
    return;
  }
  const std::string old = payload(segments.front());
  if (old.size() < exifMark.size()) throw Refused("the Exif segment is empty");
  const MemorySource block(std::string_view(old).substr(exifMark.size()));
  const OutputPlan patched = patchMetadata(TiffReader(block), target_, std::move(edits));
  setPayload(segments.front(), old.substr(0, exifMark.size()) + patched.bytes());
}

// The tags that Exif 2.32 (4.6.8, table 20) wants in a compressed image.
void Editor::addMandatoryTags(TiffEdits& edits) const {
  const Resolution resolution = resolutionOf(layout_);
  edits.newFirst = {TiffField::ofRationals(TiffTag::xResolution, {{resolution.x, 1}}),
                    TiffField::ofRationals(TiffTag::yResolution, {{resolution.y, 1}}),
                    TiffField::ofNumbers(TiffTag::resolutionUnit, TiffType::shortInteger, {resolution.unit}),
                    TiffField::ofNumbers(TiffTag::ycbcrPositioning, TiffType::shortInteger, {1})};
  auto& exif = edits.newExif;
  exif.push_back(
      TiffField::ofBytes(TiffTag::componentsConfiguration, TiffType::undefined, std::string("\1\2\3\0", 4)));
  exif.push_back(TiffField::ofBytes(TiffTag::flashpixVersion, TiffType::undefined, "0100"));
  exif.push_back(TiffField::ofNumbers(TiffTag::colorSpace, TiffType::shortInteger, {uncalibrated}));
  exif.push_back(TiffField::ofNumbers(TiffTag::pixelXDimension, TiffType::longInteger, {layout_.width}));
  exif.push_back(TiffField::ofNumbers(TiffTag::pixelYDimension, TiffType::longInteger, {layout_.height}));
}

void Editor::editXmp() {
  const auto segments = segmentsOf(app1, xmpHeader);
  if (segments.size() > mostPlaces) throw Refused("there are too many XMP segments");
  for (const std::size_t segment : segments) {
    const auto packet = updatedXmp(payload(segment).substr(xmpHeader.size()), target_);
    if (packet) setPayload(segment, std::string(xmpHeader) + *packet);
  }
  for (const std::string& packet : extendedXmp(file_, layout_)) {
    if (updatedXmp(packet, target_)) throw Refused("the extended XMP would say something else");
  }
}

void Editor::editResources() {
  const auto segments = segmentsOf(app13, photoshopHeader);
  if (segments.empty()) return addResources();
  // Programs write several segments either as pieces of one list of resources or as a list each.
  const bool areLists = std::all_of(segments.begin(), segments.end(),
                                    [&](std::size_t segment) { return areResources(resourcesIn(segment)); });
  if (areLists) {
    editEachList(segments);
  } else {
    editJoinedList(segments);
  }
}

void Editor::addResources() {
  if (target_.caption.empty()) return;
  const std::string payload = std::string(photoshopHeader) + withCaptionInResources({}, target_.caption);
  const auto exif = segmentsOf(app1, exifHeader);
  inserted_[exif.empty() ? placeOfExif() : exif.front() + 1] += segmentBytes(app13, payload);
}

void Editor::editEachList(const std::vector<std::size_t>& segments) {
  for (const std::size_t segment : segments) requireNothingOld(resourcesIn(segment), target_);
  if (target_.caption.empty()) return;
  std::vector<std::size_t> withIptc;
  std::copy_if(segments.begin(), segments.end(), std::back_inserter(withIptc),
               [&](std::size_t segment) { return haveIptcResource(resourcesIn(segment)); });
  if (withIptc.size() > mostPlaces) throw Refused("there are too many IPTC resources");
  if (withIptc.empty()) withIptc.push_back(segments.front());
  for (const std::size_t segment : withIptc) {
    setPayload(segment,
               std::string(photoshopHeader) + withCaptionInResources(resourcesIn(segment), target_.caption));
  }
}

void Editor::editJoinedList(const std::vector<std::size_t>& segments) {
  std::string joined;
  for (const std::size_t segment : segments) {
    joined += resourcesIn(segment);
    if (joined.size() > mostMetadata) throw Refused("the Photoshop resources are too large");
  }
  requireNothingOld(joined, target_);
  if (target_.caption.empty()) return;
  const std::string resources = withCaptionInResources(joined, target_.caption);
  if (resources == joined) return;
  const std::size_t most = mostPayload - photoshopHeader.size();
  std::string bytes;
  for (std::size_t at = 0; at < resources.size(); at += most) {
    bytes += segmentBytes(app13, std::string(photoshopHeader) + resources.substr(at, most));
  }
  for (const std::size_t segment : segments) replaced_[segment].clear();
  replaced_[segments.front()] = bytes;
}

std::int64_t Editor::growthFrom(std::size_t segment) const {
  std::int64_t growth = 0;
  for (const auto& [index, bytes] : inserted_) {
    if (index >= segment) growth += static_cast<std::int64_t>(bytes.size());
  }
  for (const auto& [index, bytes] : replaced_) {
    if (index < segment) continue;
    growth +=
        static_cast<std::int64_t>(bytes.size()) - static_cast<std::int64_t>(layout_.segments[index].length);
  }
  return growth;
}

// The further pictures are found by their distance from the index, which grows with what lies between; the
// length of the first picture grows with everything.
void Editor::followMultiPicture() {
  for (const std::size_t index : segmentsOf(app2, mpfHeader)) {
    const Segment& segment = layout_.segments[index];
    const MultiPictureMove move{.indexOffset = segment.payloadOffset + mpfHeader.size(),
                                .scans = layout_.scans,
                                .fileSize = file_.size(),
                                .growth = growthFrom(0),
                                .growthBehind = growthFrom(index + 1)};
    if (move.growth == 0 && move.growthBehind == 0) continue;
    const std::string old = payload(index).substr(mpfHeader.size());
    const auto moved = movedPictures(old, move);
    // Where nothing grows behind it, every place in it is as right as it was.
    if (!moved && move.growthBehind != 0) throw Refused("the multi-picture index is damaged");
    if (!moved || *moved == old) continue;
    // Whatever fills up the space before the segment stays, so that nothing moves once more.
    const std::uint64_t start = segment.offset;
    replaced_[index] = file_.read(start, move.indexOffset - start) + *moved;
  }
}

// Reads the new file as any reader would.
void Editor::verify(const OutputPlan& plan) const {
  const Layout now = readLayout(plan);
  std::uint64_t at = startOfImageSize;
  auto next = now.segments.begin();
  const auto passSegments = [&](std::uint64_t length) {
    const std::uint64_t end = at + length;
    for (; next != now.segments.end() && at < end; ++next) at += next->length;
    requireSame(at == end);
  };
  const auto requireNew = [&](const std::string& bytes) {
    requireSame(plan.readUpTo(at, bytes.size()) == bytes);
    passSegments(bytes.size());
  };
  forEachPart(requireNew, [&](const Segment& old) {
    requireSame(plan.holds(at, old.offset, old.length));
    passSegments(old.length);
  });
  const std::uint64_t rest = file_.size() - layout_.scans;
  requireSame(at == now.scans && plan.size() - at == rest && plan.holds(at, layout_.scans, rest));
  verifyMultiPicture(plan, now);
}

void Editor::verifyMultiPicture(const OutputPlan& plan, const Layout& now) const {
  const auto old = segmentsOf(app2, mpfHeader);
  const auto same = segmentsIn(now, app2, mpfHeader);
  requireSame(old.size() == same.size());
  const auto indexOf = [](const Segment& segment) {
    return MultiPictureIndex{.offset = segment.payloadOffset + mpfHeader.size(),
                             .length = segment.payloadLength - mpfHeader.size()};
  };
  for (std::size_t i = 0; i < old.size(); ++i) {
    verifyPictures(file_, indexOf(layout_.segments[old[i]]), plan, indexOf(now.segments[same[i]]));
  }
}

}  // namespace

bool recognizes(std::string_view start) { return start.starts_with("\xFF\xD8\xFF"); }

OutputPlan plan(const ByteSource& file, const TargetTags& target) {
  Editor editor(file, target);
  OutputPlan plan = editor.plan();
  if (!plan.isUnchanged() && trailerMustNotMove(file, editor.layout())) {
    throw Refused("what follows the image must not be moved");
  }
  return plan;
}

}  // namespace tollbrook::ImageMetadata::Jpeg
