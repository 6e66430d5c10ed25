#include <QAccessible>
#include <QAccessibleWidget>
#include <QWidget>

#include "Tollbrook/Desktop/Announcer.h"

namespace tollbrook {
namespace {

/// A part of the window that is seen by nobody and known to screen readers as a notification.
class Notification : public QWidget {
 public:
  explicit Notification(QWidget& window) : QWidget(&window) {
    setObjectName(QStringLiteral("notification"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    resize(0, 0);
  }
};

QAccessibleInterface* interfaceOf(const QString&, QObject* object) {
  auto* notification = dynamic_cast<Notification*>(object);
  return notification == nullptr ? nullptr : new QAccessibleWidget(notification, QAccessible::Notification);
}

// Qt 6.4 passes no alerts on to the bus of AT-SPI, but that something is shown; of a notification, screen
// readers speak the name then.
class DesktopAnnouncer : public Announcer {
 public:
  DesktopAnnouncer() { QAccessible::installFactory(interfaceOf); }
  ~DesktopAnnouncer() override { QAccessible::removeFactory(interfaceOf); }

  void announce(QWidget& window, const QString& text) override {
    auto* notification =
        window.findChild<QWidget*>(QStringLiteral("notification"), Qt::FindDirectChildrenOnly);
    if (notification == nullptr) notification = new Notification(window);
    notification->hide();
    notification->setAccessibleName(text);
    notification->show();
  }
};

}  // namespace

std::unique_ptr<Announcer> systemAnnouncer() { return std::make_unique<DesktopAnnouncer>(); }

}  // namespace tollbrook
