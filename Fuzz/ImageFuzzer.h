#pragma once

#include <cstdlib>
#include <string>

#include "TollbrookCore/ImageMetadata/OutputPlan.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"

namespace tollbrook::ImageMetadata {

/// What every container has: the new file that `source` becomes, or Refused.
using Planner = OutputPlan (&)(const ByteSource& source, const TargetTags& target);

/// Aborts unless `plan` refuses the file or makes a new one that is complete: a second write changes nothing.
inline void checkPlan(Planner plan, const std::string& file) {
  const TargetTags target{
      .takenTime = fromEpoch(1561982400),
      .position = TargetTags::Position{.latitude = 48.8584, .longitude = -2.2945, .altitude = 35},
      .caption = "Größe\nand more"};
  std::string written;
  try {
    written = plan(MemorySource(file), target).bytes();
  } catch (const Refused&) {
    return;
  }
  if (!plan(MemorySource(written), target).isUnchanged()) std::abort();
}

}  // namespace tollbrook::ImageMetadata
