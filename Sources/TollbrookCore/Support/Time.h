#pragma once

#include <chrono>
#include <ctime>
#include <optional>

namespace tollbrook {

/// A point in time as sidecars carry it: seconds since 1970-01-01 00:00:00 UTC, with fractions. It may hold
/// any double, NaN and infinity included, because a sidecar may; every conversion below is total.
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

/// The time `seconds` after 1970-01-01 00:00:00 UTC.
constexpr TimePoint fromEpoch(double seconds) { return TimePoint(std::chrono::duration<double>(seconds)); }

/// Seconds since 1970-01-01 00:00:00 UTC.
constexpr double secondsSinceEpoch(TimePoint time) { return time.time_since_epoch().count(); }

TimePoint now();

/// Calendar fields in UTC, proleptic Gregorian calendar (ISO 8601).
struct CivilTime {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;

  bool operator==(const CivilTime&) const = default;
};

/// The calendar fields of `time`, fractions of a second dropped (towards the past); none when the time is not
/// finite or falls outside the years 1 to 9999.
std::optional<CivilTime> civilTime(TimePoint time);

/// The time at the given fields; none when they name no moment (month 13, 30 February, second 60).
std::optional<TimePoint> fromCivil(const CivilTime& civil);

/// The time as the system calls take it; none under the same conditions as civilTime.
std::optional<timespec> toTimespec(TimePoint time);

TimePoint fromTimespec(const timespec& time);

}  // namespace tollbrook
