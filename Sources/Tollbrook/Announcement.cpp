#include "Tollbrook/Announcement.h"

#include <QAccessible>

namespace tollbrook {

void announce(QObject& part) {
  QAccessibleEvent event(&part, QAccessible::Alert);
  QAccessible::updateAccessibility(&event);
}

}  // namespace tollbrook
