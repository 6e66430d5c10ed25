#include "Support/ReadBack.h"

#include <unistd.h>

#include <algorithm>
#include <array>

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
      {*exifTool, arguments, ChildProcess::Stream::nullDevice, ChildProcess::Stream::pipe});
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

std::string metadataValue(const nlohmann::json& metadata, std::string_view tag) {
  const auto entry = metadata.find(std::string(tag));
  if (entry == metadata.end()) return "";
  return entry->is_string() ? entry->get<std::string>() : entry->dump();
}

}  // namespace tollbrook::test
