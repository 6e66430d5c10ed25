#pragma once

#include "TollbrookCore/ImageMetadata/TiffPatcher.h"
#include "TollbrookCore/ImageMetadata/TiffReader.h"

namespace tollbrook::ImageMetadata {

/// Compares a block with the one that `edits` made of it: every entry of every directory that was not to
/// change is as it was, every other has its new value. Throws Refused at the first difference.
void verifyTiff(const TiffReader& before, const TiffReader& after, const TiffEdits& edits);

}  // namespace tollbrook::ImageMetadata
