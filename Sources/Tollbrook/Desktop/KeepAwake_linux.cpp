#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>

#include "Tollbrook/Desktop/KeepAwake.h"

namespace tollbrook {
namespace {

// The inhibitor locks of logind (org.freedesktop.login1(5)): awake as long as a descriptor is open. One whose
// activity ended before the answer is closed as it arrives, with the watcher.
class Inhibitor : public KeepAwake::Activity {
 public:
  explicit Inhibitor(const QDBusPendingCall& call) : call_(call) {
    QObject::connect(&call_, &QDBusPendingCallWatcher::finished, &call_, [this] {
      const QDBusPendingReply<QDBusUnixFileDescriptor> reply = call_;
      if (reply.isValid()) descriptor_ = reply.value();
    });
  }

 private:
  QDBusPendingCallWatcher call_;
  QDBusUnixFileDescriptor descriptor_;
};

class Logind : public KeepAwake {
 public:
  std::unique_ptr<Activity> begin(const QString& reason) override {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("idle:sleep") << QStringLiteral("Tollbrook") << reason << QStringLiteral("block");
    return std::make_unique<Inhibitor>(QDBusConnection::systemBus().asyncCall(call));
  }
};

}  // namespace

std::unique_ptr<KeepAwake> systemKeepAwake() { return std::make_unique<Logind>(); }

}  // namespace tollbrook
