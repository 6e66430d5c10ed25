#include "Support/SafetyTest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "Support/Fixtures.h"

namespace tollbrook::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view middleMark = "the middle of the video";
constexpr std::string_view endMark = "the end of the video";

std::uint32_t u32At(std::string_view bytes, std::size_t at) {
  if (at + 4 > bytes.size()) return 0;
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

std::string jpegImageData(std::string_view bytes) {
  if (!bytes.starts_with("\xff\xd8") || !bytes.ends_with("\xff\xd9")) return "";
  // Segment after segment, since metadata may hold any bytes.
  for (std::size_t at = 2; at + 4 <= bytes.size(); at += (u32At(bytes, at) & 0xffff) + 2) {
    if (bytes.substr(at, 2) == "\xff\xda") return std::string(bytes.substr(at));
  }
  return "";
}

std::string pngImageData(std::string_view bytes) {
  std::string data;
  for (std::size_t at = 8; at + 12 <= bytes.size(); at += u32At(bytes, at) + 12) {
    const std::string_view type = bytes.substr(at + 4, 4);
    if (type == "IHDR" || type == "IDAT") data += bytes.substr(at, u32At(bytes, at) + 12);
    if (type == "IEND") return at + 12 == bytes.size() ? data : "";
  }
  return "";
}

/// ISO/IEC 14496-12: where the payload of the first top-level box of this type is, and its size.
std::optional<std::pair<std::uint64_t, std::uint64_t>> mediaBox(std::ifstream& file) {
  std::string header(8, '\0');
  for (std::uint64_t at = 0; file.seekg(static_cast<std::streamoff>(at)) && file.read(header.data(), 8);) {
    const std::uint64_t size = u32At(header, 0);
    if (header.substr(4) == "mdat") return std::pair(at + 8, size - 8);
    if (size < 8) return std::nullopt;
    at += size;
  }
  return std::nullopt;
}

std::string mp4ImageData(const fs::path& path, std::string_view bytes) {
  std::ifstream file(path, std::ios::binary);
  const auto box = mediaBox(file);
  if (!box || box->first + box->second > bytes.size()) return "";
  const std::size_t table = bytes.find("stco");
  if (table == std::string_view::npos) return "";
  const std::string_view sample = bytes.substr(std::min<std::size_t>(u32At(bytes, table + 12), bytes.size()));
  if (!sample.starts_with(tinyJpeg())) return "";
  return std::string(bytes.substr(box->first, box->second));
}

/// Whether some tag of this name, in whatever group, satisfies the condition.
template <typename Condition>
bool hasTag(const nlohmann::json& metadata, std::string_view name, Condition condition) {
  for (const auto& [tag, value] : metadata.items()) {
    if (tag.ends_with(':' + std::string(name)) && condition(value)) return true;
  }
  return false;
}

bool carriesTime(const nlohmann::json& metadata, std::int64_t time) {
  const std::string stamp = stampOf(time);
  const auto isStamp = [&](const nlohmann::json& value) {
    return value.is_string() && value.get<std::string>().starts_with(stamp);
  };
  return hasTag(metadata, "DateTimeOriginal", isStamp) && hasTag(metadata, "CreateDate", isStamp);
}

}  // namespace

std::string imageDataOf(const fs::path& file) {
  const std::string bytes = readFile(file);
  if (file.extension() == ".png") return pngImageData(bytes);
  if (file.extension() == ".mp4") return mp4ImageData(file, bytes);
  return jpegImageData(bytes);
}

testing::AssertionResult carries(const nlohmann::json& metadata, const SidecarContents& wanted) {
  const auto lacks = [&](const char* what) {
    return testing::AssertionFailure() << "without its " << what << ": " << metadata.dump();
  };
  if (wanted.takenTime && !carriesTime(metadata, *wanted.takenTime)) return lacks("time");
  const auto isNear = [](double expected) {
    return [expected](const nlohmann::json& value) {
      return value.is_number() && std::abs(value.get<double>() - expected) < 1e-4;
    };
  };
  if (wanted.latitude && !hasTag(metadata, "GPSLatitude", isNear(*wanted.latitude))) return lacks("latitude");
  if (wanted.longitude && !hasTag(metadata, "GPSLongitude", isNear(*wanted.longitude)))
    return lacks("longitude");
  const auto isCaption = [&](const nlohmann::json& value) { return value == *wanted.caption; };
  if (wanted.caption && !hasTag(metadata, "Description", isCaption)) return lacks("caption");
  return testing::AssertionSuccess();
}

testing::AssertionResult isDated(const fs::path& file, const SidecarContents& wanted) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return testing::AssertionFailure() << file << " is gone";
  if (status.st_mtime == wanted.takenTime.value()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << file << " is dated " << status.st_mtime << ", not "
                                     << *wanted.takenTime;
}

SafetyTest::SafetyTest(const fs::path& parent) : folder_(parent), commandLine_(TOLLBROOK_CLI, parent) {}

Photo SafetyTest::addPhoto(std::string_view name) {
  ++made_;
  return addPhoto(name, {.takenTime = 1425445567 + made_ * 86400,
                         .latitude = 48.1 + static_cast<double>(made_) / 100,
                         .longitude = 11.5,
                         .altitude = 500,
                         .caption = "Number " + std::to_string(made_)});
}

Photo SafetyTest::addPhoto(std::string_view name, const SidecarContents& wanted) {
  const fs::path path = folder_ / name;
  const std::string extension = path.extension().string();
  writePair(path, extension == ".png" ? tinyPng() : extension == ".mp4" ? tinyMp4(4096) : tinyJpeg(), wanted);
  return {.path = path, .wanted = wanted, .imageData = imageDataOf(path)};
}

Photo SafetyTest::addVideo(std::string_view name, std::uint32_t mediaSize) {
  Photo video = addPhoto(name);
  writeMp4(video.path, mediaSize);
  std::fstream file(video.path, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(mediaSize / 2);
  file << middleMark;
  file.seekp(-static_cast<std::streamoff>(endMark.size()), std::ios::end);
  file << endMark;
  EXPECT_TRUE(file.flush().good());
  video.imageData.clear();
  return video;
}

testing::AssertionResult SafetyTest::isWholeVideo(const Photo& video, std::uint32_t mediaSize) {
  std::ifstream file(video.path, std::ios::binary);
  const auto box = mediaBox(file);
  if (!box) return testing::AssertionFailure() << video.path << " has no media data";
  if (box->second != mediaSize) return testing::AssertionFailure() << box->second << " bytes of media data";
  // Where the mark was put, seen from the media data: in a new video all before it is of a fixed length.
  TemporaryFolder other;
  writeMp4(other / "fresh.mp4", mediaSize);
  std::ifstream fresh(other / "fresh.mp4", std::ios::binary);
  const std::uint64_t middle = mediaSize / 2 - mediaBox(fresh)->first;
  std::string expected;
  std::string piece;
  for (std::uint64_t at = 0; at < mediaSize; at += piece.size()) {
    piece.resize(std::min<std::uint64_t>(1 << 20, mediaSize - at));
    expected.assign(piece.size(), '\0');
    const auto put = [&](std::uint64_t where, std::string_view what) {
      for (std::size_t i = 0; i < what.size(); ++i) {
        if (where + i >= at && where + i < at + expected.size()) expected[where + i - at] = what[i];
      }
    };
    put(0, tinyJpeg());
    put(middle, middleMark);
    put(mediaSize - endMark.size(), endMark);
    file.seekg(static_cast<std::streamoff>(box->first + at));
    if (!file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || piece != expected) {
      return testing::AssertionFailure() << video.path << " differs after " << at << " bytes";
    }
  }
  return testing::AssertionSuccess();
}

std::vector<std::string> SafetyTest::finished() const {
  const fs::path directory = job();
  if (directory.empty()) return {};
  const std::string log = readFile(directory / "done.log");
  std::vector<std::string> whole = lines(log.substr(0, log.rfind('\n') + 1));
  if (!whole.empty() && whole[0] == "v1") whole.erase(whole.begin());
  return whole;
}

std::vector<std::string> SafetyTest::leftovers() const {
  std::vector<std::string> names;
  std::error_code gone;
  for (fs::recursive_directory_iterator entry(root(), gone); entry != fs::recursive_directory_iterator();
       entry.increment(gone)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with(".tollbrook-") || name.find("_exiftool_tmp") != std::string::npos) {
      names.push_back(entry->path().string());
    }
  }
  return names;
}

bool SafetyTest::isBeingWritten(std::uintmax_t bytes) const {
  const auto names = leftovers();
  std::error_code gone;
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    const auto size = fs::file_size(name, gone);
    return !gone && size >= bytes;
  });
}

void SafetyTest::expectAllRestored(const std::vector<Photo>& photos) const {
  const auto metadata = metadataBelow(root());
  for (const Photo& photo : photos) {
    SCOPED_TRACE(photo.path);
    const auto found = metadata.find(photo.path);
    EXPECT_TRUE(carries(found->second, photo.wanted));
    EXPECT_TRUE(isDated(photo.path, photo.wanted));
    EXPECT_TRUE(photo.imageData.empty() || imageDataOf(photo.path) == photo.imageData);
  }
  EXPECT_TRUE(leftovers().empty());
}

}  // namespace tollbrook::test
