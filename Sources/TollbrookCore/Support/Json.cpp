#include "TollbrookCore/Support/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "TollbrookCore/Support/DoubleFromText.h"
#include "TollbrookCore/Support/JsonEncoding.h"

namespace tollbrook::Json {
namespace {

/// Bytes that are never initialised: most of a large buffer is not touched by a small document.
class Buffer {
 public:
  Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { std::free(bytes_); }

  /// Room for `size` bytes and the parser's padding; null when there is no memory.
  char* reserve(std::size_t size) {
    if (size >= capacity_) grow(size);
    return size < capacity_ ? bytes_ : nullptr;
  }
  char* data() { return bytes_; }
  std::size_t capacity() const { return capacity_; }
  void release() {
    std::free(std::exchange(bytes_, nullptr));
    capacity_ = 0;
  }

 private:
  void grow(std::size_t size) {
    const std::size_t capacity = size < Reader::usualBytes ? std::bit_ceil(size + 1) : size + 1;
    void* const bytes = std::realloc(bytes_, capacity + simdjson::SIMDJSON_PADDING);
    if (bytes == nullptr) return;
    bytes_ = static_cast<char*>(bytes);
    capacity_ = capacity;
  }

  char* bytes_ = nullptr;
  std::size_t capacity_ = 0;
};

/// The index behind the string whose opening quote stands at `quote`.
std::size_t endOfString(std::string_view text, std::size_t quote) {
  std::size_t i = quote + 1;
  while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2u : 1u;
  return std::min(i + 1, text.size());
}

/// Whether brackets outside strings are nested deeper than is allowed.
bool nestsTooDeep(std::string_view text) {
  std::size_t depth = 0;
  for (std::size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (c == '"') {
      i = endOfString(text, i);
      continue;
    }
    if ((c == '[' || c == '{') && ++depth > Reader::deepestNesting) return true;
    if ((c == ']' || c == '}') && depth > 0) --depth;
    ++i;
  }
  return false;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isPartOfNumber(char c) { return isDigit(c) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E'; }

/// Whether `token` is a JSON integer that may lie outside 64 bits and inside the doubles.
bool isLongInteger(std::string_view token) {
  constexpr std::size_t digitsOf64Bits = 19;
  constexpr std::size_t digitsOfLargestDouble = 309;
  const std::string_view digits = token.substr(token.starts_with('-') ? 1 : 0);
  return digits.size() >= digitsOf64Bits && digits.size() <= digitsOfLargestDouble && digits[0] != '0' &&
         std::all_of(digits.begin(), digits.end(), isDigit);
}

/// `value`, a whole number of 19 digits or more, as 17 digits and an exponent: enough to tell every double
/// (IEEE 754, 5.12.2), and never longer than the digits were.
std::string asDigitsAndExponent(double value) {
  constexpr int fractionDigits = 16;
  std::string text = fmt::format("{:.{}e}", value, fractionDigits);
  const std::size_t e = text.find('e');
  const int exponent = std::stoi(text.substr(e + 1)) - fractionDigits;
  text.resize(e);
  text.erase(text.find('.'), 1);
  return text + "e" + std::to_string(exponent);
}

/// Writes a long integer with an exponent, spaces behind it. False when it is no double.
bool rewriteLongInteger(char* digits, std::size_t size) {
  const std::optional<double> value = doubleFromText({digits, size});
  if (!value || !std::isfinite(*value)) return false;
  const std::string shorter = asDigitsAndExponent(*value);
  if (shorter.size() > size) return false;
  std::memset(digits, ' ', size);
  std::memcpy(digits, shorter.data(), shorter.size());
  return true;
}

/// Writes integers that do not fit 64 bits, which the parser refuses, with an exponent, which it takes as the
/// double that they are. Whatever else is wrong with the text stays wrong. False when there are none.
bool rewriteLongIntegers(char* text, std::size_t size) {
  bool rewritten = false;
  for (std::size_t i = 0; i < size;) {
    if (text[i] == '"') {
      i = endOfString({text, size}, i);
      continue;
    }
    const std::size_t start = i;
    while (i < size && isPartOfNumber(text[i])) ++i;
    if (isLongInteger({text + start, i - start})) rewritten |= rewriteLongInteger(text + start, i - start);
    if (i == start) ++i;
  }
  return rewritten;
}

}  // namespace

bool Value::isObject() const { return element_.is_object(); }

std::optional<Value> Value::member(std::string_view key) const {
  std::optional<Value> value;
  members({&key, 1}, {&value, 1});
  return value;
}

void Value::members(std::span<const std::string_view> keys, std::span<std::optional<Value>> values) const {
  std::fill_n(values.begin(), keys.size(), std::nullopt);
  simdjson::dom::object object;
  if (element_.get(object) != simdjson::SUCCESS) return;
  for (const auto field : object) {
    const auto found = std::find(keys.begin(), keys.end(), field.key);
    if (found != keys.end()) values[static_cast<std::size_t>(found - keys.begin())] = Value(field.value);
  }
}

std::optional<std::string_view> Value::string() const {
  std::string_view text;
  if (element_.get(text) != simdjson::SUCCESS) return std::nullopt;
  return text;
}

std::optional<double> Value::number() const {
  double value = 0;
  if (element_.get(value) != simdjson::SUCCESS) return std::nullopt;
  return value;
}

struct Reader::State {
  Buffer input;
  Buffer converted;
  simdjson::dom::parser parser;

  /// Gives the parser room for `size` bytes of `depth` levels. The parser does not count an empty object or
  /// array as a level, nor the last level that it is told of.
  bool prepare(std::size_t size, std::size_t depth) {
    if (parser.capacity() >= size && parser.max_depth() == depth) return true;
    const std::size_t room = size < usualBytes ? std::max(std::bit_ceil(size), smallestRoom) : size;
    const std::size_t capacity = std::max(room, parser.capacity());
    if (parser.allocate(capacity, depth) == simdjson::SUCCESS &&
        (parser.doc.capacity() >= capacity || parser.doc.allocate(capacity) == simdjson::SUCCESS)) {
      return true;
    }
    parser = simdjson::dom::parser();
    return false;
  }

  std::optional<Value> parse(char* text, std::size_t size) {
    if (std::memchr(text, '\0', size) != nullptr) return std::nullopt;
    if (!prepare(size, deepestNesting)) return std::nullopt;
    simdjson::dom::element element;
    const simdjson::error_code error = parser.parse(text, size, false).get(element);
    if (error == simdjson::SUCCESS) return Value(element);
    return parseUnusual(text, size, error);
  }

  /// The parser, told to take 512 levels, refuses the last unless it is empty, and told to take one more lets
  /// an empty level 513 pass: so levels are counted here when it complains.
  std::optional<Value> parseUnusual(char* text, std::size_t size, simdjson::error_code error) {
    if (nestsTooDeep({text, size})) return std::nullopt;
    if (!rewriteLongIntegers(text, size) && error != simdjson::DEPTH_ERROR) return std::nullopt;
    if (!prepare(size, deepestNesting + 1)) return std::nullopt;
    simdjson::dom::element element;
    if (parser.parse(text, size, false).get(element) != simdjson::SUCCESS) return std::nullopt;
    return Value(element);
  }

 private:
  static constexpr std::size_t smallestRoom = 1u << 14;
};

Reader::Reader() : state_(std::make_unique<State>()) {}
Reader::~Reader() = default;
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;

char* Reader::reserve(std::size_t size) { return state_->input.reserve(size); }

std::optional<Value> Reader::read(std::size_t size) {
  if (size == 0) return std::nullopt;
  char* const bytes = state_->input.data();
  const std::string_view text(bytes, size);
  const Encoding encoding = Encoding::of(text);
  if (encoding.unitBytes == 1) return state_->parse(bytes + encoding.markBytes, size - encoding.markBytes);

  char* const utf8 = state_->converted.reserve(utf8BytesAtMost(text, encoding));
  if (utf8 == nullptr) return std::nullopt;
  const std::optional<std::size_t> length = convertToUtf8(text, encoding, utf8);
  if (!length) return std::nullopt;
  return state_->parse(utf8, *length);
}

void Reader::trim() {
  if (state_->input.capacity() > usualBytes) state_->input.release();
  if (state_->converted.capacity() > 2 * usualBytes) state_->converted.release();
  if (state_->parser.capacity() > usualBytes) state_->parser = simdjson::dom::parser();
}

}  // namespace tollbrook::Json
