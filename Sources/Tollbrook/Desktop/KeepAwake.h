#pragma once

#include <QString>
#include <memory>

namespace tollbrook {

/// Keeps the computer from falling asleep while something must not be interrupted. Main thread only.
class KeepAwake {
 public:
  /// One stretch of staying awake. It ends when this goes.
  class Activity {
   public:
    virtual ~Activity() = default;
  };

  virtual ~KeepAwake() = default;

  /// Begins an activity, without waiting for the system's answer. A system that refuses, or has no such
  /// service, simply sleeps when it wants to. `reason` is what it shows to a user who asks.
  virtual std::unique_ptr<Activity> begin(const QString& reason) = 0;
};

/// The service of the system that the program runs on.
std::unique_ptr<KeepAwake> systemKeepAwake();

}  // namespace tollbrook
