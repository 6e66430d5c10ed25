#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tollbrook::test {

/// The picture or film in a file, without what is said about it: equal for two files that show the same.
struct PixelData {
  std::string means;        ///< how it was read
  std::string fingerprint;  ///< empty when nothing could read it

  bool operator==(const PixelData&) const = default;
};

/// Which pictures of a file that holds several are looked at.
enum class Pictures { all, first };

/// The pixel data of files of one folder, by name. Photos are decoded by ImageMagick where it is installed
/// and knows them. Of films and everything else that is made of ISO boxes (ISO/IEC 14496-12) the media data
/// are compared, and where in them each chunk of each track is said to be. Of raw photos, and of
/// TIFF files that ImageMagick refuses, the bytes at the places that exiftool names.
std::map<std::string, PixelData> pixelDataOf(const std::filesystem::path& folder,
                                             const std::vector<std::string>& names,
                                             Pictures pictures = Pictures::all);

}  // namespace tollbrook::test
