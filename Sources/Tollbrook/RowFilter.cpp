#include "Tollbrook/RowFilter.h"

#include <QCoreApplication>
#include <algorithm>

namespace tollbrook {
namespace {

// In the order of the filters' values.
constexpr std::array texts{QT_TRANSLATE_NOOP("tollbrook::RowFilter", "All"),
                           QT_TRANSLATE_NOOP("tollbrook::RowFilter", "Ready"),
                           QT_TRANSLATE_NOOP("tollbrook::RowFilter", "No sidecar"),
                           QT_TRANSLATE_NOOP("tollbrook::RowFilter", "Problems")};

const char* english(RowFilter filter) { return texts.at(static_cast<std::size_t>(filter)); }

}  // namespace

QString rawValue(RowFilter filter) { return QString::fromLatin1(english(filter)); }

QString label(RowFilter filter) {
  return QCoreApplication::translate("tollbrook::RowFilter", english(filter));
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
