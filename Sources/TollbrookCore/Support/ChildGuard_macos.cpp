#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "TollbrookCore/Support/Platform.h"

// The kernel ties no child to its parent here. A guard process does: it holds the read end of a pipe whose
// write end only we hold, learns the child's number through it from the child itself (so there is no moment
// in which the child runs unwatched), and when the pipe ends, because we ended, it kills the child's group.

namespace tollbrook::Platform {
namespace {

/// Reads across interruptions; the number of bytes, 0 at the end of the pipe.
ssize_t readPipe(int descriptor, void* bytes, size_t size) {
  ssize_t count;
  do {
    count = read(descriptor, bytes, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

/// Close-on-exec, and never one of the numbers of the standard streams, which others may open anew.
int guarded(int descriptor) {
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(descriptor);
  return moved;
}

/// The guard process. It was forked from a program with threads: async-signal-safe calls only.
[[noreturn]] void watch(int lifeline, int descriptorLimit) {
  // A group of its own, and deaf: what ends us by a signal to our group must not end the guard first.
  setpgid(0, 0);
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
  // Whatever else was open here would be kept open: other pipes, locks on folders.
  for (int descriptor = 0; descriptor < descriptorLimit; ++descriptor) {
    if (descriptor != lifeline) close(descriptor);
  }
  pid_t child = 0;
  if (readPipe(lifeline, &child, sizeof child) == static_cast<ssize_t>(sizeof child) && child > 0) {
    char ignored;
    while (readPipe(lifeline, &ignored, 1) > 0) {
    }
    kill(-child, SIGKILL);
  }
  _exit(0);
}

}  // namespace

ChildGuard::ChildGuard() : parent_(getpid()) {
  int ends[2];
  if (pipe(ends) != 0) return;
  const int lifeline = guarded(ends[0]);
  lifeline_ = guarded(ends[1]);
  const int descriptorLimit = getdtablesize();
  if (lifeline >= 0 && lifeline_ >= 0) guard_ = fork();
  if (guard_ == 0) watch(lifeline, descriptorLimit);
  if (lifeline >= 0) close(lifeline);
}

ChildGuard::~ChildGuard() {
  // The child is reaped and its number may be somebody else's soon: end the guard before the pipe.
  if (guard_ > 0) {
    kill(guard_, SIGKILL);
    while (waitpid(guard_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  if (lifeline_ >= 0) close(lifeline_);
}

bool ChildGuard::armInChild() const {
  if (guard_ < 0) return false;
  const pid_t self = getpid();
  if (write(lifeline_, &self, sizeof self) != static_cast<ssize_t>(sizeof self)) return false;
  return getppid() == parent_;
}

}  // namespace tollbrook::Platform
