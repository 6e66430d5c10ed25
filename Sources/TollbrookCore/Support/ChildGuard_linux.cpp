#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::Platform {

ChildGuard::ChildGuard() : parent_(getpid()) {}

ChildGuard::~ChildGuard() = default;

bool ChildGuard::armInChild() const {
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) return false;
  // A parent that died before the call above sends nothing any more.
  return getppid() == parent_;
}

}  // namespace tollbrook::Platform
