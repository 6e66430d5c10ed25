#pragma once

#include <QString>
#include <array>
#include <optional>

#include "TollbrookCore/Models.h"

namespace tollbrook {

/// Which pairs the detail list shows.
enum class RowFilter {
  all,
  ready,      ///< ready or fixed
  unmatched,  ///< without a usable sidecar
  problems    ///< everything that will not be or was not written: unmatched or failed
};

/// All of them, in the order in which they are offered.
inline constexpr std::array rowFilters{RowFilter::all, RowFilter::ready, RowFilter::unmatched,
                                       RowFilter::problems};

/// What the filter is called in every language: "All", "Ready", "No sidecar", "Problems".
QString rawValue(RowFilter filter);
/// The text by which it is offered: the same in the user's language.
QString label(RowFilter filter);
/// The filter with exactly this raw value; none for any other text.
std::optional<RowFilter> rowFilterFromRawValue(const QString& raw);

/// Whether a pair of this status is shown.
bool shows(RowFilter filter, PairStatus status);

}  // namespace tollbrook
