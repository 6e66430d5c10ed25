#pragma once

#include <simdjson.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// Reading JSON texts of any encoding (RFC 8259; UTF-16, UTF-32 and byte-order marks as RFC 4627, section 3).
namespace tollbrook::Json {

/// A value inside a Document, valid as long as the Document is. Cheap to copy.
class Value {
 public:
  explicit Value(simdjson::dom::element element) : value_(element) {}
  explicit Value(const nlohmann::json* element) : value_(element) {}

  bool isObject() const;
  /// The last member of an object with exactly this key (of duplicate keys the last wins); none when there is
  /// none or the value is no object.
  std::optional<Value> member(std::string_view key) const;
  /// The text of a string (it may hold NUL); none for every other value.
  std::optional<std::string_view> string() const;
  /// The value of a number, integer or not; none for every other value, booleans included.
  std::optional<double> number() const;

 private:
  std::variant<simdjson::dom::element, const nlohmann::json*> value_;
};

/// Reads one document after another into memory that is kept between documents (and given back after an
/// unusually large one). One thread at a time; a Value lives until the next call of read.
class Reader {
 public:
  /// Nesting deeper than this is refused.
  static constexpr std::size_t deepestNesting = 512;

  Reader();
  ~Reader();
  Reader(Reader&&) noexcept;
  Reader& operator=(Reader&&) noexcept;

  /// Room for a document of `size` bytes, to be filled by the caller before read(size).
  char* reserve(std::size_t size);
  /// The document of the first `size` bytes of the reserved room; none when it is not one valid JSON text.
  std::optional<Value> read(std::size_t size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tollbrook::Json
