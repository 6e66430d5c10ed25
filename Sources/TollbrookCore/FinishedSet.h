#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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
  FinishedSet() = default;
  /// The lines of a done.log: what stands behind the last line feed is a torn write and no line; empty lines,
  /// the header "v1" and lines that begin with "#" are passed over. A log that is not UTF-8 gives the empty
  /// set.
  explicit FinishedSet(std::string log);

  bool contains(std::string_view path) const;
  /// False when it was there already.
  bool insert(std::string_view path);
  std::size_t size() const;
  void forEach(const std::function<void(std::string_view)>& visit) const;

 private:
  // The implementer's.
};

}  // namespace tollbrook
