#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tollbrook::test {

/// What a sidecar made for a test holds; absent members are left out of it.
struct SidecarContents {
  std::optional<std::int64_t> takenTime = 1425445567;  ///< 2015-03-04 05:06:07 UTC
  std::optional<double> latitude;
  std::optional<double> longitude;
  std::optional<double> altitude;
  std::optional<std::string> caption;
  std::optional<std::string> title;
};

/// A sidecar in the form that an export has it.
std::string sidecarJson(const SidecarContents& contents = {});

/// Makes `media` with these bytes and its sidecar (its name and ".supplemental-metadata.json") beside it.
void writePair(const std::filesystem::path& media, const std::string& bytes,
               const SidecarContents& contents = {});

/// The sidecar that writePair makes.
std::filesystem::path sidecarOf(const std::filesystem::path& media);

}  // namespace tollbrook::test
