#include "TollbrookCore/Support/Time.h"

#include <cmath>

namespace tollbrook {
namespace {

using Days = std::chrono::sys_days;
using namespace std::chrono_literals;

constexpr double firstSecond = static_cast<double>(
    std::chrono::sys_seconds(Days(1y / std::chrono::January / 1)).time_since_epoch().count());
constexpr double endSecond = static_cast<double>(
    std::chrono::sys_seconds(Days(10000y / std::chrono::January / 1)).time_since_epoch().count());

}  // namespace

TimePoint now() {
  return std::chrono::time_point_cast<std::chrono::duration<double>>(std::chrono::system_clock::now());
}

std::optional<CivilTime> civilTime(TimePoint time) {
  const double seconds = std::floor(secondsSinceEpoch(time));
  if (!(seconds >= firstSecond && seconds < endSecond)) return std::nullopt;
  const std::chrono::sys_seconds whole(std::chrono::seconds(static_cast<std::int64_t>(seconds)));
  const Days day = std::chrono::floor<std::chrono::days>(whole);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(whole - day);
  return CivilTime{static_cast<int>(date.year()),
                   static_cast<unsigned>(date.month()),
                   static_cast<unsigned>(date.day()),
                   static_cast<unsigned>(clock.hours().count()),
                   static_cast<unsigned>(clock.minutes().count()),
                   static_cast<unsigned>(clock.seconds().count())};
}

std::optional<TimePoint> fromCivil(const CivilTime& civil) {
  const std::chrono::year_month_day date{std::chrono::year(civil.year), std::chrono::month(civil.month),
                                         std::chrono::day(civil.day)};
  if (!date.ok() || civil.year < 1 || civil.year > 9999) return std::nullopt;
  if (civil.hour > 23 || civil.minute > 59 || civil.second > 59) return std::nullopt;
  const std::chrono::sys_seconds whole = Days(date) + std::chrono::hours(civil.hour) +
                                         std::chrono::minutes(civil.minute) +
                                         std::chrono::seconds(civil.second);
  return fromEpoch(static_cast<double>(whole.time_since_epoch().count()));
}

std::optional<timespec> toTimespec(TimePoint time) {
  const double seconds = secondsSinceEpoch(time);
  const double whole = std::floor(seconds);
  if (!(whole >= firstSecond && whole < endSecond)) return std::nullopt;
  timespec result{};
  result.tv_sec = static_cast<time_t>(whole);
  // Whole nanoseconds; the largest double below 1 still rounds down to 999,999,999.
  result.tv_nsec = static_cast<long>((seconds - whole) * 1e9);
  if (result.tv_nsec > 999'999'999) result.tv_nsec = 999'999'999;
  return result;
}

TimePoint fromTimespec(const timespec& time) {
  return fromEpoch(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9);
}

}  // namespace tollbrook
