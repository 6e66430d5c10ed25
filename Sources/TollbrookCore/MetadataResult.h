#pragma once

#include <string>
#include <variant>

/// What came of restoring one file.
namespace tollbrook::MetadataWriter {

/// Something was written. Never both false.
struct Applied {
  bool dates = false;
  bool embedded = false;
  bool operator==(const Applied&) const = default;
};
/// Nothing was written, or nothing could be.
struct Failed {
  std::string message;  ///< for the user
  bool operator==(const Failed&) const = default;
};
/// The file's dates already match; it was not touched.
struct Skipped {
  bool operator==(const Skipped&) const = default;
};
using Result = std::variant<Applied, Failed, Skipped>;

}  // namespace tollbrook::MetadataWriter
