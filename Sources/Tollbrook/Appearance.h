#pragma once

#include <QColor>
#include <QPalette>

#include "TollbrookCore/Models.h"

namespace tollbrook {

/// The ratio of two colours' luminances, 1 to 21 (WCAG 2.1, "contrast ratio").
double contrast(const QColor& a, const QColor& b);

/// `a` with this share of `b` in it, 0 to 1.
QColor mixed(const QColor& a, const QColor& b, double share);

/// How the fill of a control answers the pointer over it, or pressing it: a step nearer to the text on it,
/// which stays readable.
QColor answered(const QColor& fill, const QColor& text, bool pressed);

/// The shades that the window is drawn in, light or dark as the system's palette is. All text reads with a
/// contrast of 4.5:1 or more where it stands, save amber, which is given, and where the system's own colours
/// leave no room for that, as a list in a middle grey.
struct Appearance {
  explicit Appearance(const QPalette& palette);
  /// That of the application's palette now; kept until the palette changes. Main thread only.
  static const Appearance& current();

  QColor text;
  QColor surface;        ///< the list, and what stands on the chrome
  bool dark;             ///< whether the text is lighter than the surface
  QColor chrome;         ///< inspector and toolbar: one step from the surface towards the text
  QColor stripe;         ///< every other row of the list
  QColor hairline;       ///< borders and dividers
  QColor track;          ///< what is empty of a progress bar, a picker's ground
  QColor secondaryText;  ///< for what explains
  QColor tertiaryText;   ///< for what is missing or disabled, on the track too
  QColor error;          ///< the text of an error

  /// The text of a status, on its own pill.
  QColor status(PairStatus status) const;
  /// The pill behind it: the same colour at 15 % on the surface.
  QColor pill(PairStatus status) const;
};

}  // namespace tollbrook
