#pragma once

#include <string>

#include "TollbrookCore/Models.h"

/// The one-line summaries that every front end shows, in English; the window translates its own.
namespace tollbrook {

/// What a scan found, such as "812 of 830 files have sidecar metadata."
std::string summarize(const ScanReport& report);

/// What a write run did, such as "812 dated · 790 tagged · 2 failed".
std::string summarize(const RestoreOutcome& outcome);

}  // namespace tollbrook
