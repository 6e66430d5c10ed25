#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tollbrook::test {

/// Makes names of media files and sidecars out of everything that the matching rules look at. The same seed
/// gives the same names.
class NameGenerator {
 public:
  explicit NameGenerator(std::uint64_t seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }
  bool chance(std::size_t percent) { return below(100) < percent; }
  std::string pick(std::initializer_list<std::string_view> list);

  /// One media file name: pieces, counters, an edit marker, an extension.
  std::string media();
  /// A media file name that shares much with the given one: a duplicate, an edited copy, another case.
  std::string relative(const std::string& media);
  /// A name that may be, or nearly be, that of the sidecar of `media`.
  std::string json(const std::string& media);
  /// The same text in other letters of the same meaning: another case, composed or decomposed.
  std::string disguised(const std::string& name);

  std::string counter();
  std::string editMarker();

 private:
  std::string stem();
  std::string filler(std::size_t length);

  std::mt19937_64 random_;
};

/// The text with every byte outside printable ASCII as \xNN.
std::string escaped(std::string_view text);

}  // namespace tollbrook::test
