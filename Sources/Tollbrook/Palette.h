#pragma once

#include <QColor>

/// The colours of Tollbrook; everything else comes from the system's palette.
namespace tollbrook::Palette {

/// The accent of the whole window, in light and dark appearance alike.
inline const QColor amber = QColor::fromRgbF(0.81F, 0.52F, 0.16F);

/// Text and icons on amber, where white would be too faint.
inline const QColor ink(0x1D, 0x13, 0x05);

}  // namespace tollbrook::Palette
