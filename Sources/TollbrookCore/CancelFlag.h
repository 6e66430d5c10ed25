#pragma once

#include <mutex>

namespace tollbrook {

/// With which one thread asks the work on another to stop. Any thread. Not for signal handlers.
class CancelFlag {
 public:
  bool isSet() const {
    const std::lock_guard guard(mutex_);
    return value_;
  }
  void cancel() { set(true); }
  void reset() { set(false); }

 private:
  void set(bool value) {
    const std::lock_guard guard(mutex_);
    value_ = value;
  }

  mutable std::mutex mutex_;
  bool value_ = false;
};

}  // namespace tollbrook
