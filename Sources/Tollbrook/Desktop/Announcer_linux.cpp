#include <QAccessible>
#include <QAccessibleWidget>
#include <QTimer>
#include <QWidget>
#include <chrono>

#include "Tollbrook/Desktop/Announcer.h"

namespace tollbrook {
namespace {

// Time enough to be asked for the name.
constexpr std::chrono::seconds lifetime(30);

/// A part of the window that is seen by nobody and known to screen readers as a notification.
class Notification : public QWidget {
 public:
  Notification(QWidget& window, const QString& text) : QWidget(&window) {
    setObjectName(QStringLiteral("notification"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAccessibleName(text);
    resize(0, 0);
    QTimer::singleShot(lifetime, this, &QObject::deleteLater);
  }
};

QAccessibleInterface* interfaceOf(const QString&, QObject* object) {
  auto* notification = dynamic_cast<Notification*>(object);
  return notification == nullptr ? nullptr : new QAccessibleWidget(notification, QAccessible::Notification);
}

// Qt 6.4 passes no alerts on to the bus of AT-SPI, but that something is shown; of a notification, screen
// readers ask for the name then and speak it. Each has its own, since they ask later.
class DesktopAnnouncer : public Announcer {
 public:
  DesktopAnnouncer() { QAccessible::installFactory(interfaceOf); }
  ~DesktopAnnouncer() override { QAccessible::removeFactory(interfaceOf); }

  void announce(QWidget& window, const QString& text) override { (new Notification(window, text))->show(); }
};

}  // namespace

std::unique_ptr<Announcer> systemAnnouncer() { return std::make_unique<DesktopAnnouncer>(); }

}  // namespace tollbrook
