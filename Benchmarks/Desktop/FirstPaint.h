#pragma once

#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <QWidget>

namespace tollbrook::bench {

/// Ends the program once `window` has been painted for the first time.
class FirstPaint : public QObject {
 public:
  explicit FirstPaint(QWidget& window) { window.installEventFilter(this); }

  bool eventFilter(QObject* watched, QEvent* event) override {
    // The event loop is entered again only when the painting has reached the screen.
    if (event->type() == QEvent::Paint) QTimer::singleShot(0, qApp, [] { QApplication::exit(); });
    return QObject::eventFilter(watched, event);
  }
};

}  // namespace tollbrook::bench
