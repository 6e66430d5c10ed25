#pragma once

#include <QCoreApplication>
#include <QString>

#include "TollbrookCore/Models.h"

namespace tollbrook {

/// The one-line summaries of the window: those of the engine, in the user's language.
class Summaries {
  Q_DECLARE_TR_FUNCTIONS(tollbrook::Summaries)

 public:
  /// What a scan found, such as "812 of 830 files have sidecar metadata."
  static QString of(const ScanReport& report);
  /// What a write run did, such as "812 dated · 790 tagged · 2 failed".
  static QString of(const RestoreOutcome& outcome);
};

}  // namespace tollbrook
