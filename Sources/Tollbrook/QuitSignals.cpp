#include "Tollbrook/QuitSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <csignal>

namespace tollbrook {
namespace {

constexpr std::array handled{SIGTERM, SIGINT, SIGHUP};

// A handler may do little more than write(2): the byte wakes the event loop.
std::array<int, 2> wake{-1, -1};

void handle(int) {
  const int before = errno;
  [[maybe_unused]] const auto written = write(wake[1], "", 1);
  errno = before;
}

void makeNonBlocking(int descriptor) {
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
}

}  // namespace

QuitSignals::QuitSignals(QObject* parent) : QObject(parent) {
  if (pipe(wake.data()) != 0) return;
  for (const int end : wake) makeNonBlocking(end);
  auto* notifier = new QSocketNotifier(wake[0], QSocketNotifier::Read, this);
  connect(notifier, &QSocketNotifier::activated, this, [this] {
    std::array<char, 64> bytes;
    while (read(wake[0], bytes.data(), bytes.size()) > 0) {
    }
    Q_EMIT quitRequested();
  });
  struct sigaction action {};
  action.sa_handler = handle;
  action.sa_flags = SA_RESTART;
  for (const int signal : handled) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    // What the starter of the process ignores, as nohup does, stays ignored.
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

QuitSignals::~QuitSignals() {
  for (const int signal : handled) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    if (now.sa_handler == handle) std::signal(signal, SIG_DFL);
  }
  for (int& end : wake) {
    if (end >= 0) close(end);
    end = -1;
  }
}

}  // namespace tollbrook
