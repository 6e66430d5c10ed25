#pragma once

#include <simdjson.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

/// Reading JSON texts of any encoding (RFC 8259; UTF-16, UTF-32 and byte-order marks as RFC 4627, section 3).
namespace tollbrook::Json {

/// A value inside a document, valid until its Reader reads the next one. Cheap to copy.
class Value {
 public:
  explicit Value(simdjson::dom::element element) : element_(element) {}

  bool isObject() const;
  /// The last member of an object with exactly this key (of duplicate keys the last wins); none when there is
  /// none or the value is no object.
  std::optional<Value> member(std::string_view key) const;
  /// As member, for several keys in one pass: values[i] becomes the member keys[i]. `values` is at least as
  /// long as `keys`.
  void members(std::span<const std::string_view> keys, std::span<std::optional<Value>> values) const;
  /// The text of a string (it may hold NUL); none for every other value.
  std::optional<std::string_view> string() const;
  /// The value of a number, integer or not, rounded to the nearest double; none for every other value,
  /// booleans included.
  std::optional<double> number() const;

 private:
  simdjson::dom::element element_;
};

/// Reads one document after another into memory that is kept between documents. A document takes at most
/// about 16 times its size while it is read, whatever is in it. One thread at a time; a Value lives until the
/// next call of reserve, read or trim.
class Reader {
 public:
  /// Nesting deeper than this is refused; an object or array at the top is level 1.
  static constexpr std::size_t deepestNesting = 512;
  /// trim keeps what documents of this size need.
  static constexpr std::size_t usualBytes = 1u << 20;

  Reader();
  ~Reader();
  Reader(Reader&&) noexcept;
  Reader& operator=(Reader&&) noexcept;

  /// Room for a document of `size` bytes, to be filled by the caller before read(size); null when there is
  /// not that much memory. What stands in the room already stays there when it grows.
  char* reserve(std::size_t size);
  /// The document of the first `size` bytes of the reserved room; none when it is not one valid JSON text, or
  /// holds a number that is too large for a double. The room's contents are lost.
  std::optional<Value> read(std::size_t size);
  /// Gives back the memory that an unusually large document took.
  void trim();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tollbrook::Json
