#pragma once

#include <QFont>

/// The few sizes of type in the window, as ratios of the system's font, which stands for 13 points.
namespace tollbrook::Typography {

enum class TextStyle {
  title,            ///< 22, semibold
  title2,           ///< 17, the system's serif face
  title3,           ///< 15, semibold
  body,             ///< 13
  bodySemibold,     ///< 13
  monospaced,       ///< 13
  callout,          ///< 12
  caption,          ///< 11
  captionSemibold,  ///< 11
  caption2,         ///< 10
  monospacedSmall   ///< 11
};

/// The font of a style, as the application's font is now.
QFont font(TextStyle style);

/// A length that grows with the system's font: `points` where the font has its usual size.
int scaled(double points);

/// The width of a number of this many digits, whichever they are.
int digitsWidth(const QFont& font, int digits);

}  // namespace tollbrook::Typography
