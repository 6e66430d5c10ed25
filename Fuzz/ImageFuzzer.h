#pragma once

#include <cstdlib>
#include <string>

#include "TollbrookCore/ImageMetadata/OutputPlan.h"
#include "TollbrookCore/ImageMetadata/TargetTags.h"

namespace tollbrook::ImageMetadata {

/// What every container has: the new file that `source` becomes, or Refused.
using Planner = OutputPlan (&)(const ByteSource& source, const TargetTags& target);

inline TargetTags fuzzTarget(const std::string& caption) {
  return {.takenTime = fromEpoch(1561982400),
          .position = TargetTags::Position{.latitude = 48.8584, .longitude = -2.2945, .altitude = 35},
          .caption = caption};
}

/// Aborts unless `plan` refuses the file or makes a new one that is complete: a second write changes nothing.
/// Returns the new one, empty when it was refused.
inline std::string checkPlan(Planner plan, const std::string& file) {
  const TargetTags target = fuzzTarget("Größe\nand more");
  std::string written;
  try {
    written = plan(MemorySource(file), target).bytes();
  } catch (const Refused&) {
    return "";
  }
  if (!plan(MemorySource(written), target).isUnchanged()) std::abort();
  return written;
}

/// Aborts when a file that was written grows each time that it is written again with other captions.
inline void checkRewriting(Planner plan, std::string file) {
  if (file.empty()) return;
  std::size_t sizeBefore = 0;
  for (int cycle = 0; cycle < 3; ++cycle) {
    for (const char* const caption : {"Shorter", "Größe\nand more"}) {
      try {
        file = plan(MemorySource(file), fuzzTarget(caption)).bytes();
      } catch (const Refused&) {
        return;  // in a longer file a maker note may lead by chance to what seems to be a picture
      }
    }
    if (cycle > 0 && file.size() > sizeBefore) std::abort();
    sizeBefore = file.size();
  }
}

}  // namespace tollbrook::ImageMetadata
