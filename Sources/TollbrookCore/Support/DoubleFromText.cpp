#include "TollbrookCore/Support/DoubleFromText.h"

#include <locale.h>
#include <stdlib.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace tollbrook {
namespace {

/// Texts up to this length are converted on the stack.
constexpr std::size_t usualLength = 127;

/// The point between two neighbouring doubles has at most 768 significant digits; of what follows it matters
/// only whether it is zero.
constexpr std::size_t significantDigits = 800;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

locale_t cLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

/// `text` ends with a zero byte at text[size].
std::optional<double> convert(const char* text, std::size_t size) {
  char* end = nullptr;
  const double value = strtod_l(text, &end, cLocale());
  if (end != text + size) return std::nullopt;
  return value;
}

/// Takes the characters of a text from the front.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text) {}
  bool atEnd() const { return rest_.empty(); }
  bool atDigit() const { return !rest_.empty() && isDigit(rest_[0]); }
  char take() {
    const char c = rest_[0];
    rest_.remove_prefix(1);
    return c;
  }
  bool takeIf(char a, char b) {
    if (rest_.empty() || (rest_[0] != a && rest_[0] != b)) return false;
    rest_.remove_prefix(1);
    return true;
  }

 private:
  std::string_view rest_;
};

/// The significant digits of a decimal number, and the power of ten that belongs to the last of them.
struct Digits {
  std::string text;
  std::int64_t exponent = 0;
  bool any = false;
  bool moreThanZeros = false;  ///< among those that were left out

  void add(char digit, bool isFraction) {
    any = true;
    if (text.size() == significantDigits) {
      moreThanZeros |= digit != '0';
      if (!isFraction) ++exponent;
      return;
    }
    if (!text.empty() || digit != '0') text += digit;
    if (isFraction) --exponent;
  }
};

/// The written exponent, which may have any number of digits.
std::optional<std::int64_t> takeExponent(Cursor& cursor) {
  constexpr std::int64_t beyondEveryText = 1'000'000'000'000'000;
  const bool negative = cursor.takeIf('-', '-');
  if (!negative) cursor.takeIf('+', '+');
  if (!cursor.atDigit()) return std::nullopt;
  std::int64_t value = 0;
  while (cursor.atDigit()) value = std::min(value * 10 + (cursor.take() - '0'), beyondEveryText);
  return negative ? -value : value;
}

/// A short decimal number with the same nearest double; none when `text` is no decimal number. Some C
/// libraries take time quadratic in the number of digits.
std::optional<std::string> shortened(std::string_view text) {
  Cursor cursor(text);
  const bool negative = cursor.takeIf('-', '-');
  if (!negative) cursor.takeIf('+', '+');
  Digits digits;
  while (cursor.atDigit()) digits.add(cursor.take(), false);
  if (cursor.takeIf('.', '.')) {
    while (cursor.atDigit()) digits.add(cursor.take(), true);
  }
  if (!digits.any) return std::nullopt;
  if (cursor.takeIf('e', 'E')) {
    const std::optional<std::int64_t> exponent = takeExponent(cursor);
    if (!exponent) return std::nullopt;
    digits.exponent += *exponent;
  }
  if (!cursor.atEnd()) return std::nullopt;
  if (digits.text.empty()) return negative ? "-0" : "0";
  if (digits.moreThanZeros) {
    digits.text += '1';
    --digits.exponent;
  }
  return (negative ? "-" : "") + digits.text + "e" + std::to_string(digits.exponent);
}

/// Whether a long text is to be read as a decimal number or not at all. Hexadecimal digits, names and
/// everything else cost strtod no more than one pass.
bool isDecimalAtBest(std::string_view text) {
  if (text[0] == '-' || text[0] == '+') text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  return !isHexadecimal && (isDigit(text[0]) || text[0] == '.');
}

}  // namespace

std::optional<double> doubleFromText(std::string_view text) {
  if (text.empty() || isSpace(text[0])) return std::nullopt;
  if (text.size() <= usualLength) {
    char terminated[usualLength + 1];
    std::memcpy(terminated, text.data(), text.size());
    terminated[text.size()] = '\0';
    return convert(terminated, text.size());
  }
  if (!isDecimalAtBest(text)) return convert(std::string(text).c_str(), text.size());
  const std::optional<std::string> decimal = shortened(text);
  if (!decimal) return std::nullopt;
  return convert(decimal->c_str(), decimal->size());
}

}  // namespace tollbrook
