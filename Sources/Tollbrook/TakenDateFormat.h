#pragma once

#include <QString>
#include <memory>
#include <string>

#include "TollbrookCore/Support/Time.h"

namespace tollbrook {

/// Writes when a photo was taken: the medium date and the short time of a locale (Unicode CLDR, "date
/// formats"), in a time zone.
class TakenDateFormat {
 public:
  /// The user's locale for dates and time zone.
  TakenDateFormat();
  /// The locale of this ICU name and the time zone of this Olson name.
  TakenDateFormat(const std::string& locale, const std::u16string& timeZone);
  ~TakenDateFormat();
  TakenDateFormat(const TakenDateFormat&) = delete;
  TakenDateFormat& operator=(const TakenDateFormat&) = delete;

  /// Empty for a time that is not finite, and where ICU has no data for the locale.
  QString text(TimePoint taken) const;

 private:
  struct Formatter;
  std::unique_ptr<Formatter> formatter_;
};

}  // namespace tollbrook
