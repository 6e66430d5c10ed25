#pragma once

class QObject;

namespace tollbrook {

/// Has screen readers speak what this part of the window says, at once and wherever the focus is.
void announce(QObject& part);

}  // namespace tollbrook
