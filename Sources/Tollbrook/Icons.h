#pragma once

#include <QIcon>

/// Tollbrook's own icons, one family, tinted when they are painted.
namespace tollbrook::Icons {

enum class Symbol {
  magnifyingGlass,
  clockWithReturningArrow,
  stop,
  folder,
  film,
  photo,
  photoStack,
  photoAtAnAngle,
  returningArrow,
  chevron,
  checkMark,
  application  ///< in colours of its own, whatever the tint
};

/// The symbol in the colour of the text around it.
QIcon icon(Symbol symbol);
/// The symbol in this colour, in light and dark appearance alike; in that of disabled text where it is
/// disabled.
QIcon icon(Symbol symbol, const QColor& colour);

}  // namespace tollbrook::Icons
