#pragma once

#include <mutex>
#include <optional>
#include <utility>

namespace tollbrook {

/// Hands the newest of many values from one thread to another, so that a slow reader is never buried under
/// old ones.
template <typename Value>
class Latest {
 public:
  /// True when the reader has taken the value before this one, so that it must be told of this.
  bool put(Value value) {
    const std::lock_guard guard(mutex_);
    const bool waiting = value_.has_value();
    value_ = std::move(value);
    return !waiting;
  }

  /// The newest value, once.
  std::optional<Value> take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(value_, std::nullopt);
  }

 private:
  std::mutex mutex_;
  std::optional<Value> value_;
};

}  // namespace tollbrook
