#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tollbrook {

/// An exact set of paths that takes little more memory than the paths' own bytes: the text of a done.log,
/// read in one piece, plus a table of 32-bit offsets into it. Paths are bytes. One thread at a time.
class FinishedSet {
 public:
  /// How far the offsets of the table lead; what stands behind goes to an ordinary set.
  static constexpr std::size_t farthestReach = std::numeric_limits<std::uint32_t>::max() - std::size_t{1};

  FinishedSet() = default;
  /// The lines of a done.log: what stands behind the last line feed is a torn write and no line; empty lines,
  /// the header "v1" and lines that begin with "#" are passed over. A log that is not UTF-8 gives the empty
  /// set.
  explicit FinishedSet(std::string log, std::size_t reach = farthestReach);

  /// Whether a done.log can carry `path` as a line: it is UTF-8 without a line feed, and nothing that a
  /// reader passes over.
  static bool isLine(std::string_view path);

  bool contains(std::string_view path) const;
  /// False when it was there already.
  bool insert(std::string_view path);
  std::size_t size() const;
  void forEach(const std::function<void(std::string_view)>& visit) const;

 private:
  /// Where an entry stands in log_ and blocks_ as if they were one text, plus one; 0 is a free place.
  using Place = std::uint32_t;

  void addLines();
  std::string_view textFrom(std::size_t position) const;
  std::string_view entryAt(std::size_t position) const;
  /// The slot of the table that leads to `path`, or the free one where it would have to be.
  std::size_t probe(std::string_view path) const;
  /// Makes the table large enough for this many entries.
  void growTable(std::size_t entries);
  bool append(std::string_view path, std::size_t& position);

  std::size_t reach_ = farthestReach;
  std::string log_;                              ///< entries end with a line feed, here and in blocks_
  std::vector<std::unique_ptr<char[]>> blocks_;  ///< the entries added later
  std::size_t freeInBlock_ = 0;                  ///< bytes at the end of the last block
  std::vector<Place> table_;                     ///< open addressing, a power of two long
  std::size_t inTable_ = 0;
  std::unordered_set<std::string> others_;  ///< what the table cannot lead to
};

}  // namespace tollbrook
