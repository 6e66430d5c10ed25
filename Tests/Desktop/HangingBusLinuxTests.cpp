#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <QElapsedTimer>
#include <cstring>

#include "Desktop/Support/AppTest.h"
#include "Support/TemporaryFolder.h"
#include "Tollbrook/Desktop/KeepAwake.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook {
namespace {

using test::operator""_s;
using test::waitUntil;

// In place of the system's bus: one that lets programs connect and says nothing. The system's bus is looked
// up once in a process, so this is the only test here.
class HangingBus {
 public:
  HangingBus() {
    const std::string socketPath = (folder_ / "bus").string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(socket_.get(), 1), 0);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + QByteArray::fromStdString(socketPath));
  }

  /// Whether a program has connected.
  bool isAsked() {
    if (!caller_) caller_ = Files::Descriptor(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    return static_cast<bool>(caller_);
  }

 private:
  test::TemporaryFolder folder_;
  Files::Descriptor socket_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
  Files::Descriptor caller_;
};

TEST(KeepAwake, DoesNotWaitForABusThatHangs) {
  HangingBus bus;
  const auto keepAwake = systemKeepAwake();
  QElapsedTimer clock;
  clock.start();
  auto activity = keepAwake->begin("writing"_s);
  EXPECT_LT(clock.elapsed(), 1000);
  EXPECT_TRUE(waitUntil([&] { return bus.isAsked(); }));
  clock.start();
  activity.reset();
  EXPECT_LT(clock.elapsed(), 1000);
}

}  // namespace
}  // namespace tollbrook
