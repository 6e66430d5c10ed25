#include "Tollbrook/RowFilter.h"

#include <algorithm>

namespace tollbrook {

QString rawValue(RowFilter filter) {
  switch (filter) {
    case RowFilter::all:
      return QStringLiteral("All");
    case RowFilter::ready:
      return QStringLiteral("Ready");
    case RowFilter::unmatched:
      return QStringLiteral("No sidecar");
    case RowFilter::problems:
      return QStringLiteral("Problems");
  }
  return {};
}

std::optional<RowFilter> rowFilterFromRawValue(const QString& raw) {
  const auto found = std::find_if(rowFilters.begin(), rowFilters.end(),
                                  [&](RowFilter filter) { return rawValue(filter) == raw; });
  if (found == rowFilters.end()) return std::nullopt;
  return *found;
}

bool shows(RowFilter filter, PairStatus status) {
  switch (filter) {
    case RowFilter::all:
      return true;
    case RowFilter::ready:
      return status == PairStatus::ready || status == PairStatus::fixed;
    case RowFilter::unmatched:
      return status == PairStatus::unmatched;
    case RowFilter::problems:
      return status == PairStatus::unmatched || status == PairStatus::error;
  }
  return false;
}

}  // namespace tollbrook
