#include "Support/ReadBack.h"

#include <unistd.h>

#include <array>

#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Support/ChildProcess.h"

namespace tollbrook::test {

nlohmann::json metadataOf(const std::filesystem::path& file) {
  const auto& exifTool = ExifTool::path();
  if (!exifTool) return nullptr;
  const auto child = ChildProcess::start({*exifTool,
                                          {"-json", "-G1", "-n", "-api", "QuickTimeUTC=1", file.string()},
                                          ChildProcess::Stream::nullDevice,
                                          ChildProcess::Stream::pipe});
  if (!child) return nullptr;
  std::string text;
  std::array<char, 4096> bytes{};
  for (ssize_t count; (count = read(child->output().get(), bytes.data(), bytes.size())) > 0;) {
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
  const auto list = nlohmann::json::parse(text, nullptr, false);
  return list.is_array() && !list.empty() ? list[0] : nlohmann::json();
}

std::string metadataValue(const nlohmann::json& metadata, std::string_view tag) {
  const auto entry = metadata.find(std::string(tag));
  if (entry == metadata.end()) return "";
  return entry->is_string() ? entry->get<std::string>() : entry->dump();
}

}  // namespace tollbrook::test
