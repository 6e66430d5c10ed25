#pragma once

#include <string>

#include "TollbrookCore/Models.h"

/// The one-line summaries in English, as the command line shows them; the window has the same in the user's
/// language.
namespace tollbrook {

/// What a scan found, such as "812 of 830 files have sidecar metadata."
std::string summarize(const ScanReport& report);

/// What a write run did, such as "812 dated · 790 tagged · 2 failed".
std::string summarize(const RestoreOutcome& outcome);

}  // namespace tollbrook
