#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QFutureWatcher>
#include <QPromise>
#include <QThreadPool>
#include <memory>

#include "Tollbrook/Desktop/KeepAwake.h"

namespace tollbrook {
namespace {

// The system's bus, once it is connected to: that waits for an answer, without end where the bus hangs.
QFuture<QDBusConnection> systemBus() {
  const auto promise = std::make_shared<QPromise<QDBusConnection>>();
  promise->start();
  QThreadPool::globalInstance()->start([promise] {
    promise->addResult(QDBusConnection::systemBus());
    promise->finish();
  });
  return promise->future();
}

// The inhibitor locks of logind (org.freedesktop.login1(5)): awake as long as a descriptor is open. One whose
// activity ended before the answer is closed as it arrives, with the watcher.
class Inhibitor : public KeepAwake::Activity {
 public:
  explicit Inhibitor(const QDBusMessage& call) {
    QObject::connect(&bus_, &QFutureWatcherBase::finished, &bus_,
                     [this, call] { await(bus_.result().asyncCall(call)); });
    bus_.setFuture(systemBus());
  }

 private:
  void await(const QDBusPendingCall& call) {
    call_ = std::make_unique<QDBusPendingCallWatcher>(call);
    QObject::connect(call_.get(), &QDBusPendingCallWatcher::finished, call_.get(), [this] {
      const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *call_;
      if (reply.isValid()) descriptor_ = reply.value();
    });
  }

  QFutureWatcher<QDBusConnection> bus_;
  std::unique_ptr<QDBusPendingCallWatcher> call_;
  QDBusUnixFileDescriptor descriptor_;
};

class Logind : public KeepAwake {
 public:
  std::unique_ptr<Activity> begin(const QString& reason) override {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("idle:sleep") << QStringLiteral("Tollbrook") << reason << QStringLiteral("block");
    return std::make_unique<Inhibitor>(call);
  }
};

}  // namespace

std::unique_ptr<KeepAwake> systemKeepAwake() { return std::make_unique<Logind>(); }

}  // namespace tollbrook
