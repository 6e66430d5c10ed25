#include "Support/PixelData.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string_view>

#include "Support/Names.h"
#include "Support/Program.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

using Names = std::vector<std::string>;

std::uint64_t bigEndian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t index = at; index < std::min(bytes.size(), at + count); ++index)
    value = value << 8 | static_cast<unsigned char>(bytes[index]);
  return value;
}

std::string_view piece(std::string_view bytes, std::uint64_t at, std::uint64_t count) {
  return at < bytes.size() ? bytes.substr(at, count) : std::string_view();
}

// Calls `visit(type, payload)` for each box of `bytes`; ends where they end or make no sense.
void eachBox(std::string_view bytes,
             const std::function<void(std::string_view type, std::string_view payload)>& visit) {
  while (bytes.size() >= 8) {
    std::uint64_t size = bigEndian(bytes, 0, 4);
    std::size_t header = 8;
    if (size == 1) {
      size = bigEndian(bytes, 8, 8);
      header = 16;
    }
    if (size == 0) size = bytes.size();
    if (size < header || size > bytes.size()) size = bytes.size();
    if (size < header) return;
    visit(bytes.substr(4, 4), bytes.substr(header, size - header));
    bytes.remove_prefix(size);
  }
}

// Where every chunk of every track begins, counted from the beginning of the media data that it lies in.
void addChunks(std::string_view file, std::string_view boxes, const std::vector<std::string_view>& mediaData,
               std::string& result) {
  eachBox(boxes, [&](std::string_view type, std::string_view payload) {
    for (const char* parent : {"moov", "trak", "mdia", "minf", "stbl"}) {
      if (type == parent) addChunks(file, payload, mediaData, result);
    }
    if (type != "stco" && type != "co64") return;
    const std::size_t width = type == "stco" ? 4 : 8;
    const std::uint64_t count = std::min<std::uint64_t>(bigEndian(payload, 4, 4), payload.size() / width);
    for (std::uint64_t index = 0; index < count; ++index) {
      const std::uint64_t offset = bigEndian(payload, 8 + index * width, width);
      for (const std::string_view data : mediaData) {
        const auto start = static_cast<std::uint64_t>(data.data() - file.data());
        if (offset >= start && offset < start + data.size()) result += std::to_string(offset - start) + ' ';
      }
    }
  });
}

std::string isoMedia(const std::filesystem::path& path, bool isPhoto) {
  const std::string file = readFile(path);
  std::string result;
  std::vector<std::string_view> mediaData;
  bool hasMovie = false;
  eachBox(file, [&](std::string_view type, std::string_view payload) {
    hasMovie = hasMovie || type == "moov";
    if (type != "mdat") return;
    mediaData.push_back(payload);
    result += payload;
  });
  // Beside a picture, metadata stand in the media data, too.
  if (isPhoto && !hasMovie) return "";
  addChunks(file, file, mediaData, result);
  return result;
}

// The numbers of a tag that exiftool gives as one number, or as text with spaces between several.
std::vector<std::uint64_t> numbers(const nlohmann::json& value) {
  std::istringstream text(value.is_string() ? value.get<std::string>() : value.dump());
  std::vector<std::uint64_t> result;
  for (std::uint64_t number; text >> number;) result.push_back(number);
  return result;
}

// What stands in `file` at the places that exiftool's pairs of tags name.
std::string rawData(const std::filesystem::path& path, const nlohmann::json& tags) {
  constexpr std::pair<const char*, const char*> places[] = {{"StripOffsets", "StripByteCounts"},
                                                            {"TileOffsets", "TileByteCounts"},
                                                            {"JpgFromRawStart", "JpgFromRawLength"},
                                                            {"RawDataOffset", "RawDataLength"}};
  const std::string file = readFile(path);
  std::string result;
  for (const auto& [name, value] : tags.items()) {
    for (const auto& [offset, length] : places) {
      if (!name.ends_with(std::string(":") + offset)) continue;
      const std::string other = name.substr(0, name.size() - std::string_view(offset).size()) + length;
      if (!tags.contains(other)) continue;
      const auto starts = numbers(value);
      const auto lengths = numbers(tags.at(other));
      for (std::size_t index = 0; index < std::min(starts.size(), lengths.size()); ++index)
        result += piece(file, starts[index], lengths[index]);
    }
  }
  // FUJIFILM's container names the place of the sensor data in its header, at byte 100.
  if (file.starts_with("FUJIFILMCCD-RAW"))
    result += piece(file, bigEndian(file, 100, 4), bigEndian(file, 104, 4));
  return result;
}

void addRawData(const std::filesystem::path& folder, const Names& names,
                std::map<std::string, PixelData>& result) {
  const auto& exifTool = ExifTool::path();
  if (names.empty() || !exifTool) return;
  Program::Call call{.program = exifTool->string(),
                     .arguments = {"-q", "-q", "-json", "-a", "-b", "-G1", "-n", "-StripOffsets",
                                   "-StripByteCounts", "-TileOffsets", "-TileByteCounts", "-JpgFromRawStart",
                                   "-JpgFromRawLength", "-RawDataOffset", "-RawDataLength"},
                     .folder = folder};
  call.arguments.insert(call.arguments.end(), names.begin(), names.end());
  const auto list = nlohmann::json::parse(Program::run(call).output, nullptr, false);
  if (!list.is_array()) return;
  for (const auto& tags : list) {
    const std::string name = tags.at("SourceFile");
    result[name] = {"raw data", rawData(folder / name, tags)};
  }
}

// One call for all; what it cannot read is absent from the result.
void addDecoded(const std::filesystem::path& folder, const Names& names, Pictures pictures,
                std::map<std::string, PixelData>& result) {
  if (names.empty()) return;
  Program::Call call{.program = "identify", .arguments = {"-quiet", "-format", "%i\t%#\n"}, .folder = folder};
  call.arguments.insert(call.arguments.end(), names.begin(), names.end());
  std::istringstream lines(Program::run(call).output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) continue;
    // A file of several pictures has a line for each.
    PixelData& data = result[line.substr(0, tab)];
    data.means = "ImageMagick";
    if (pictures == Pictures::first && !data.fingerprint.empty()) continue;
    data.fingerprint += line.substr(tab + 1) + ' ';
  }
}

}  // namespace

std::map<std::string, PixelData> pixelDataOf(const std::filesystem::path& folder, const Names& names,
                                             Pictures pictures) {
  std::map<std::string, PixelData> result;
  const auto unread = [&](std::initializer_list<std::string_view> extensions) {
    Names list;
    for (const std::string& name : names) {
      if (hasExtension(name, extensions) && result[name].fingerprint.empty()) list.push_back(name);
    }
    return list;
  };
  addDecoded(folder,
             unread({".jpg", ".jpeg", ".png", ".tif", ".tiff", ".gif", ".bmp", ".webp", ".heic", ".heif"}),
             pictures, result);
  addRawData(folder,
             unread({".dng", ".arw", ".cr2", ".nef", ".orf", ".rw2", ".raf", ".raw", ".tif", ".tiff"}),
             result);
  for (const std::string& name : names) {
    PixelData& data = result[name];
    if (data.fingerprint.empty())
      data = {"media data", isoMedia(folder / name, hasExtension(name, {".heic", ".heif"}))};
    if (data.fingerprint.empty()) data.means = "nothing";
  }
  return result;
}

}  // namespace tollbrook::test
