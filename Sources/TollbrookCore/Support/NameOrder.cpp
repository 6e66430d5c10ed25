#include <unicode/ucol.h>
#include <unicode/uloc.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "TollbrookCore/Support/Text.h"
#include "TollbrookCore/Support/TextUtf16.h"

namespace tollbrook::Text {
namespace {

/// The ICU name of a locale given as such or as a BCP 47 tag, whose extensions ICU's own names spell
/// differently.
std::string icuName(const char* locale) {
  if (std::strchr(locale, '-') == nullptr) return locale;
  std::array<char, ULOC_FULLNAME_CAPACITY> name{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_forLanguageTag(locale, name.data(), static_cast<std::int32_t>(name.size()), nullptr, &status);
  if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return locale;
  return name.data();
}

/// The environment's locale. ICU reads "C" and "POSIX" as en_US_POSIX, whose order is that of the codes.
std::string userLocale() {
  const std::string locale = uloc_getDefault();
  return locale.ends_with("_POSIX") ? "" : locale;
}

}  // namespace

struct NameOrder::Collator {
  explicit Collator(const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    collator.reset(ucol_open(locale.c_str(), &status));
    if (U_SUCCESS(status)) {
      ucol_setAttribute(collator.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
      ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
    }
    Utf16::require(status, "collation");
  }

  struct Close {
    void operator()(UCollator* opened) const { ucol_close(opened); }
  };
  std::unique_ptr<UCollator, Close> collator;
};

NameOrder::NameOrder() : collator_(std::make_unique<Collator>(userLocale())) {}
NameOrder::NameOrder(const char* locale) : collator_(std::make_unique<Collator>(icuName(locale))) {}
NameOrder::~NameOrder() = default;

std::string NameOrder::key(std::string_view name) const {
  const std::u16string units = Utf16::from(name);
  const auto keyInto = [&](std::string& buffer) {
    const std::int32_t needed = ucol_getSortKey(
        collator_->collator.get(), units.data(), static_cast<std::int32_t>(units.size()),
        reinterpret_cast<std::uint8_t*>(buffer.data()), static_cast<std::int32_t>(buffer.size()));
    return static_cast<std::size_t>(needed);
  };
  std::string key(units.size() * 3 + 16, '\0');
  std::size_t needed = keyInto(key);
  if (needed > key.size()) {
    key.resize(needed);
    needed = keyInto(key);
  }
  // The last byte is ICU's terminator; 0 stands for failure, and then all names are equal.
  key.resize(needed > 0 ? needed - 1 : 0);
  return key;
}

}  // namespace tollbrook::Text
