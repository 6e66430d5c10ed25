#include "TollbrookCore/ImageMetadata/Png.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/ExifEdits.h"
#include "TollbrookCore/ImageMetadata/IptcParts.h"
#include "TollbrookCore/ImageMetadata/IptcRecord.h"
#include "TollbrookCore/ImageMetadata/PhotoshopTags.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"
#include "TollbrookCore/ImageMetadata/PngText.h"
#include "TollbrookCore/ImageMetadata/TiffMetadata.h"
#include "TollbrookCore/ImageMetadata/XmpPacket.h"

namespace tollbrook::ImageMetadata::Png {
namespace {

constexpr std::string_view xmpKeyword = "XML:com.adobe.xmp";
constexpr std::string_view profileKeyword = "Raw profile type ";

/// The file, and which of its chunks are to become what.
class Editor {
 public:
  Editor(const ByteSource& file, const TargetTags& target)
      : file_(file), target_(target), edits_(exifEdits(target)), chunks_(chunksOf(file)) {}

  OutputPlan result() {
    updateExifChunk();
    updateTextChunks();
    if (!hasExif_) inserted_.push_back(chunk("eXIf", newExifBlock(edits_)));
    if (!hasXmp_ && !target_.caption.empty()) insertXmp();
    OutputPlan plan = assembled();
    verify(plan);
    return plan;
  }

 private:
  void updateExifChunk() {
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
      if (chunks_[i].type != "eXIf") continue;
      if (hasExif_) throw Refused("there are two EXIF chunks");
      hasExif_ = true;
      const std::string content = contentOf(file_, chunks_[i]);
      const std::string updated = updatedExif(content);
      if (updated != content) changed_[i] = chunk("eXIf", updated);
    }
  }

  void updateTextChunks() {
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
      const Chunk& candidate = chunks_[i];
      constexpr std::uint64_t keywordAndEnd = 80;
      const std::string start =
          file_.read(candidate.contentOffset(), std::min(candidate.contentSize(), keywordAndEnd));
      const std::string_view keyword = textKeyword(candidate.type, start);
      if (keyword == xmpKeyword) updateXmpText(i);
      if (keyword.starts_with(profileKeyword)) updateProfile(i, keyword.substr(profileKeyword.size()));
    }
  }

  // Chunks of a few bytes could each claim megabytes.
  std::optional<Text> textOf(const Chunk& chunk) {
    if (++textsRead_ > mostPlaces) throw Refused("there is too much metadata");
    auto text = parseText(chunk.type, contentOf(file_, chunk));
    if (text) textSize_ += text->text.size();
    if (textSize_ > mostMetadata) throw Refused("there is too much metadata");
    return text;
  }

  void updateXmpText(std::size_t index) {
    auto text = textOf(chunks_[index]);
    if (!text) throw Refused("the XMP cannot be read");
    if (auto packet = updatedPacket(text->text)) {
      text->text = std::move(*packet);
      changed_[index] = chunk(text->type, text->content());
    }
  }

  void updateProfile(std::size_t index, std::string_view name) {
    const bool isIptc = name == "iptc" || name == "8bim";
    if (!isIptc && name != "exif" && name != "APP1" && name != "xmp") return;
    auto text = textOf(chunks_[index]);
    auto profile = text ? RawProfile::parse(text->text) : std::nullopt;
    if (!profile && isIptc) return;
    if (!profile) throw Refused("a raw profile cannot be read");
    const std::string before = profile->bytes;
    if (isIptc) {
      profile->bytes = updatedIptc(before);
    } else if (before.starts_with(xmpHeader) || name == "xmp") {
      const std::size_t start = before.starts_with(xmpHeader) ? xmpHeader.size() : 0;
      if (const auto packet = updatedPacket(before.substr(start)))
        profile->bytes.replace(start, std::string::npos, *packet);
    } else if (!hasExif_) {
      takeOver(index, before);
      return;
    } else {
      profile->bytes = updatedExif(before);
    }
    if (profile->bytes == before) return;
    text->text = profile->text();
    changed_[index] = chunk(text->type, text->content());
  }

  // The caption where there is one; the standard has no place for IPTC, so that none is to be added.
  std::string updatedIptc(const std::string& profile) const {
    if (profile.starts_with("8BIM")) requireNothingOld(profile, target_);
    if (target_.caption.empty()) return profile;
    if (profile.starts_with(datasetMarker) && haveIptcCaption(profile)) {
      return withIptcCaption(profile, target_.caption);
    }
    if (profile.starts_with("8BIM") && haveCaptionInResources(profile)) {
      return withCaptionInResources(profile, target_.caption);
    }
    return profile;
  }

  // The place of its own that EXIF has in the standard is where every reader looks.
  void takeOver(std::size_t index, std::string_view profile) {
    hasExif_ = true;
    const std::string block(profile.substr(profile.starts_with(exifMark) ? exifMark.size() : 0));
    changed_[index] = {};
    inserted_.push_back(chunk("eXIf", updatedExif(block)));
  }

  std::string updatedExif(const std::string& content) const {
    const std::size_t start = content.starts_with(exifMark) ? exifMark.size() : 0;
    const MemorySource block(std::string_view(content).substr(start));
    return content.substr(0, start) + patchMetadata(TiffReader(block), target_, edits_).bytes();
  }

  std::optional<std::string> updatedPacket(std::string_view packet) {
    const bool isFirst = !hasXmp_;
    hasXmp_ = true;
    return isFirst ? updatedXmpWithCaption(packet, target_) : updatedXmp(packet, target_);
  }

  void insertXmp() {
    Text text;
    text.type = "iTXt";
    text.keyword = xmpKeyword;
    text.text = newXmp(target_.caption);
    inserted_.push_back(chunk(text.type, text.content()));
  }

  OutputPlan assembled() const {
    OutputPlan plan(file_);
    plan.copy(0, chunks_.front().offset);
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
      if (chunks_[i].type == "IDAT") {
        for (const std::string& added : inserted_) plan.add(added);
      }
      const auto change = changed_.find(i);
      if (change != changed_.end()) {
        plan.add(change->second);
      } else {
        plan.copy(chunks_[i].offset, chunks_[i].size);
      }
    }
    plan.copy(chunks_.back().end(), file_.size() - chunks_.back().end());
    return plan;
  }

  /// Reads the new file as any reader would: Refused unless it is the old one but for what was changed.
  void verify(const OutputPlan& plan) const {
    const std::vector<Chunk> now = chunksOf(plan);
    auto next = now.begin();
    const auto requireNew = [&](const std::string& bytes) {
      requireSame(next != now.end() && next->size == bytes.size() &&
                  plan.read(next->offset, next->size) == bytes);
      ++next;
    };
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
      if (chunks_[i].type == "IDAT") std::for_each(inserted_.begin(), inserted_.end(), requireNew);
      const auto change = changed_.find(i);
      if (change == changed_.end()) {
        requireSame(next != now.end() && next->size == chunks_[i].size &&
                    plan.holds(next->offset, chunks_[i].offset, next->size));
        ++next;
      } else if (!change->second.empty()) {
        requireNew(change->second);
      }
    }
    const std::uint64_t trailer = file_.size() - chunks_.back().end();
    requireSame(next == now.end() && plan.size() - now.back().end() == trailer &&
                plan.holds(now.back().end(), chunks_.back().end(), trailer));
  }

  const ByteSource& file_;
  const TargetTags& target_;
  TiffEdits edits_;
  std::vector<Chunk> chunks_;
  bool hasExif_ = false;
  bool hasXmp_ = false;
  std::size_t textsRead_ = 0;                   ///< those of metadata
  std::size_t textSize_ = 0;                    ///< of the metadata in text chunks that was read
  std::map<std::size_t, std::string> changed_;  ///< new chunks for old ones; empty for one that goes
  std::vector<std::string> inserted_;           ///< new chunks in front of the image data
};

}  // namespace

bool recognizes(std::string_view start) { return start.starts_with("\x89PNG\r\n\x1A\n"); }

OutputPlan plan(const ByteSource& file, const TargetTags& target) { return Editor(file, target).result(); }

}  // namespace tollbrook::ImageMetadata::Png
