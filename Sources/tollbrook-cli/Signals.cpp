#include "Signals.h"

#include <unistd.h>

#include <csignal>
#include <initializer_list>

#include "ExitStatus.h"

namespace tollbrook::cli::Signals {
namespace {

volatile std::sig_atomic_t received = 0;

extern "C" void stop(int signal) {
  if (received != 0) _exit(stoppedBySignal + signal);
  received = signal;
}

}  // namespace

void listen() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction previous {};
    // What the starter of the process ignores, as nohup and a shell's background do, stays ignored.
    if (sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = stop;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

bool stopRequested() { return received != 0; }

int exitStatus(int status) { return received != 0 ? stoppedBySignal + received : status; }

}  // namespace tollbrook::cli::Signals
