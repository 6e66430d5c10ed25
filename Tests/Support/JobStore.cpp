#include "Support/JobStore.h"

#include <sys/resource.h>

#include <csignal>

namespace tollbrook::test {

struct FullDisk::State {
  rlimit limit{};
  void (*handler)(int) = SIG_DFL;
};

FullDisk::FullDisk(unsigned size) : before_(std::make_unique<State>()) {
  before_->handler = std::signal(SIGXFSZ, SIG_IGN);
  getrlimit(RLIMIT_FSIZE, &before_->limit);
  const rlimit limit{size, before_->limit.rlim_max};
  EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

FullDisk::~FullDisk() {
  setrlimit(RLIMIT_FSIZE, &before_->limit);
  std::signal(SIGXFSZ, before_->handler);
}

}  // namespace tollbrook::test
