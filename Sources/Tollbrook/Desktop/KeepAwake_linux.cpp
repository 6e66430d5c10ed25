#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QUuid>

#include "Tollbrook/Desktop/KeepAwake.h"

namespace tollbrook {
namespace {

// Where the system's bus listens when the environment does not say.
constexpr const char* usualBus = "unix:path=/var/run/dbus/system_bus_socket";

QDBusMessage greeting() {
  return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                        QStringLiteral("/org/freedesktop/DBus"),
                                        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("Hello"));
}

// A connection to the system's bus. Qt's own waits for the bus to answer, without end where that hangs; one
// to a peer waits for nothing, and the bus serves a peer that greets it first.
class SystemBus {
 public:
  SystemBus()
      : connection_(QDBusConnection::connectToPeer(
            qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS", QLatin1String(usualBus)), name_)) {
    connection_.asyncCall(greeting());
  }
  ~SystemBus() { QDBusConnection::disconnectFromPeer(name_); }
  SystemBus(const SystemBus&) = delete;
  SystemBus& operator=(const SystemBus&) = delete;

  QDBusPendingCall call(const QDBusMessage& message) const { return connection_.asyncCall(message); }

 private:
  const QString name_ = QUuid::createUuid().toString();
  const QDBusConnection connection_;
};

// The inhibitor locks of logind (org.freedesktop.login1(5)): awake as long as a descriptor is open. One that
// comes after its activity has ended finds no connection any more, and is closed.
class Inhibitor : public KeepAwake::Activity {
 public:
  explicit Inhibitor(const QDBusMessage& request) : call_(bus_.call(request)) {
    QObject::connect(&call_, &QDBusPendingCallWatcher::finished, &call_, [this] {
      const QDBusPendingReply<QDBusUnixFileDescriptor> reply = call_;
      if (reply.isValid()) descriptor_ = reply.value();
    });
  }

 private:
  const SystemBus bus_;
  QDBusPendingCallWatcher call_;
  QDBusUnixFileDescriptor descriptor_;
};

class Logind : public KeepAwake {
 public:
  std::unique_ptr<Activity> begin(const QString& reason) override {
    QDBusMessage request = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    request << QStringLiteral("idle:sleep") << QStringLiteral("Tollbrook") << reason
            << QStringLiteral("block");
    return std::make_unique<Inhibitor>(request);
  }
};

}  // namespace

std::unique_ptr<KeepAwake> systemKeepAwake() { return std::make_unique<Logind>(); }

}  // namespace tollbrook
