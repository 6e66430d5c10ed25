#include "Tollbrook/Summaries.h"

#include <QStringList>

namespace tollbrook {

QString Summaries::of(const ScanReport& report) {
  if (report.mediaCount == 0) return tr("No photos or videos in this folder.");
  QString found = tr("%1 of %2 files have sidecar metadata.").arg(report.matchedCount).arg(report.mediaCount);
  if (!report.listCapped) return found;
  return tr("%1 Showing a sample of %2 — every nested folder is still included when writing.")
      .arg(found)
      .arg(report.pairs.size());
}

QString Summaries::of(const RestoreOutcome& outcome) {
  if (outcome.cancelled) return tr("Stopped. Finished files are kept; reopen the app to continue the rest.");
  QStringList parts;
  const auto add = [&parts](std::int64_t count, const QString& text) {
    if (count >= 1) parts.append(text.arg(count));
  };
  add(outcome.datesSet, tr("%1 dated"));
  add(outcome.embeddedWritten, tr("%1 tagged"));
  add(outcome.skipped, tr("%1 already correct"));
  add(outcome.alreadyDone, tr("%1 already finished"));
  add(outcome.deletedSidecars, tr("%1 JSON removed"));
  add(outcome.failed, tr("%1 failed"));
  return parts.isEmpty() ? tr("Nothing changed.") : parts.join(QStringLiteral(" · "));
}

}  // namespace tollbrook
