#include "Tollbrook/SettlingButton.h"

#include <QApplication>
#include <QKeyEvent>

namespace tollbrook {

void SettlingButton::showEvent(QShowEvent* event) {
  QPushButton::showEvent(event);
  if (!event->spontaneous()) shown_.start();
}

bool SettlingButton::hitButton(const QPoint& position) const {
  return !isSettling() && QPushButton::hitButton(position);
}

void SettlingButton::keyPressEvent(QKeyEvent* event) {
  if (!isSettling() && !event->isAutoRepeat()) return QPushButton::keyPressEvent(event);
  event->ignore();
}

bool SettlingButton::isSettling() const {
  return shown_.isValid() && shown_.elapsed() < QApplication::doubleClickInterval();
}

}  // namespace tollbrook
