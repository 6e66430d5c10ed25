#include "Support/ReadBack.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "Support/Program.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Support/ChildProcess.h"

namespace tollbrook::test {

std::vector<nlohmann::json> metadataOfAll(const std::vector<std::filesystem::path>& files) {
  std::vector<nlohmann::json> result(files.size());
  const auto& exifTool = ExifTool::path();
  if (!exifTool) return result;
  std::vector<std::string> arguments{"-json", "-G1", "-n", "-api", "QuickTimeUTC=1"};
  for (const auto& file : files) arguments.push_back(file.string());
  const auto child = ChildProcess::start(
      {*exifTool, arguments, ChildProcess::Stream::nullDevice, ChildProcess::Stream::pipe, {{"TZ", "UTC"}}});
  if (!child) return result;
  std::string text;
  std::array<char, 4096> bytes{};
  for (ssize_t count; (count = read(child->output().get(), bytes.data(), bytes.size())) > 0;) {
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
  const auto list = nlohmann::json::parse(text, nullptr, false);
  // It leaves out a file that it cannot read; which one would be a guess.
  if (list.is_array() && list.size() == files.size()) std::copy(list.begin(), list.end(), result.begin());
  return result;
}

nlohmann::json metadataOf(const std::filesystem::path& file) { return metadataOfAll({file})[0]; }

std::map<std::filesystem::path, nlohmann::json> metadataBelow(const std::filesystem::path& folder) {
  std::map<std::filesystem::path, nlohmann::json> result;
  const auto& exifTool = ExifTool::path();
  if (!exifTool) return result;
  const auto reading = Program::run({.program = exifTool->string(),
                                     .arguments = {"-q", "-q", "-json", "-a", "-G1", "-n", "-api",
                                                   "QuickTimeUTC=1", "-r", "--ext", "json", folder.string()},
                                     .environment = {{"TZ", "UTC"}}});
  auto list = nlohmann::json::parse(reading.output, nullptr, false);
  if (!list.is_array()) return result;
  for (nlohmann::json& file : list) {
    std::filesystem::path path = file.at("SourceFile").get<std::string>();
    result.emplace(std::move(path), std::move(file));
  }
  return result;
}

std::string metadataValue(const nlohmann::json& metadata, std::string_view tag) {
  const auto entry = metadata.find(std::string(tag));
  if (entry == metadata.end()) return "";
  return entry->is_string() ? entry->get<std::string>() : entry->dump();
}

}  // namespace tollbrook::test
