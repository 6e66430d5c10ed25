#include "Tollbrook/TakenDateFormat.h"

#include <unicode/udat.h>
#include <unicode/uloc.h>

#include <QByteArray>
#include <QLocale>
#include <array>
#include <cmath>

namespace tollbrook {
namespace {

/// What the environment says of dates, in the order of POSIX; the desktop's choice where it says nothing.
std::string userLocale() {
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    std::string name = qgetenv(variable).toStdString();
    if (name.empty()) continue;
    if (name == "C" || name == "POSIX" || name.starts_with("C.")) break;
    return name;
  }
  const QString system = QLocale::system().name();
  return system == QLatin1String("C") ? "en_US" : system.toStdString();
}

std::string canonical(const std::string& locale) {
  std::array<char, ULOC_FULLNAME_CAPACITY> name{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(locale.c_str(), name.data(), static_cast<std::int32_t>(name.size()), &status);
  return U_SUCCESS(status) && status != U_STRING_NOT_TERMINATED_WARNING ? name.data() : locale;
}

}  // namespace

struct TakenDateFormat::Formatter {
  Formatter(const std::string& locale, const std::u16string& timeZone) {
    UErrorCode status = U_ZERO_ERROR;
    opened = udat_open(UDAT_SHORT, UDAT_MEDIUM, canonical(locale).c_str(),
                       timeZone.empty() ? nullptr : timeZone.c_str(), -1, nullptr, 0, &status);
  }
  ~Formatter() {
    if (opened != nullptr) udat_close(opened);
  }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;

  UDateFormat* opened = nullptr;
};

TakenDateFormat::TakenDateFormat() : TakenDateFormat(userLocale(), std::u16string()) {}
TakenDateFormat::TakenDateFormat(const std::string& locale, const std::u16string& timeZone)
    : formatter_(std::make_unique<Formatter>(locale, timeZone)) {}
TakenDateFormat::~TakenDateFormat() = default;

QString TakenDateFormat::text(TimePoint taken) const {
  const double milliseconds = secondsSinceEpoch(taken) * 1000;
  if (formatter_->opened == nullptr || !std::isfinite(milliseconds)) return {};
  std::array<UChar, 128> units{};
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length = udat_format(formatter_->opened, milliseconds, units.data(),
                                          static_cast<std::int32_t>(units.size()), nullptr, &status);
  return U_SUCCESS(status) ? QString::fromUtf16(units.data(), length) : QString();
}

}  // namespace tollbrook
