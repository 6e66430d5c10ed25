#pragma once

#include "TollbrookCore/ImageMetadata/OutputPlan.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"
#include "TollbrookCore/ImageMetadata/TiffPatcher.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {

/// What happens where a block holds no IPTC yet.
enum class MissingIptc { isLeftOut, isMade };

/// The TIFF file or EXIF block with these edits, and with everything else in it brought into line from which
/// readers take a date, its zone or a caption, where it is there: tags that stand in the other of the first
/// two directories, an XMP packet, IPTC and Photoshop resources. Throws Refused, beside what patchTiff
/// refuses, where that cannot be brought into line.
OutputPlan patchMetadata(const TiffReader& block, const TargetTags& target, TiffEdits edits,
                         MissingIptc missing = MissingIptc::isLeftOut);

}  // namespace tollbrook::ImageMetadata
