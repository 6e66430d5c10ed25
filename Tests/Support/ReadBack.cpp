#include "Support/ReadBack.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "Support/Program.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

using nlohmann::json;
using std::filesystem::path;
using Words = std::vector<std::string>;

/// Runs exiftool with these arguments on files of `folder`.
std::string answer(const path& folder, Words arguments, const Words& files) {
  arguments.insert(arguments.begin(), {"-q", "-q"});
  arguments.insert(arguments.end(), files.begin(), files.end());
  return Program::run({.program = ExifTool::path()->string(),
                       .arguments = std::move(arguments),
                       .environment = {{"TZ", "UTC"}},
                       .folder = folder})
      .output;
}

/// What it says of each file; empty when it fails.
json readings(const path& folder, Words options, const Words& files) {
  if (files.empty() || !ExifTool::path()) return json::array();
  options.emplace_back("-json");
  json list = json::parse(answer(folder, std::move(options), files), nullptr, false);
  return list.is_array() ? list : json::array();
}

std::string text(const json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

}  // namespace

std::vector<json> metadataOfAll(const std::vector<path>& files) {
  const json list = readings({}, {"-G1", "-n", "-api", "QuickTimeUTC=1"}, {files.begin(), files.end()});
  std::vector<json> result(files.size());
  // It leaves out a file that it cannot read; which one would be a guess.
  if (list.size() == files.size()) std::copy(list.begin(), list.end(), result.begin());
  return result;
}

json metadataOf(const path& file) { return metadataOfAll({file})[0]; }

std::map<path, json> metadataBelow(const path& folder) {
  std::map<path, json> result;
  for (const json& file : readings({}, {"-a", "-G1", "-n", "-api", "QuickTimeUTC=1", "-r", "--ext", "json"},
                                   {folder.string()})) {
    result.emplace(file.at("SourceFile").get<std::string>(), file);
  }
  return result;
}

std::string metadataValue(const json& metadata, std::string_view tag) {
  const auto entry = metadata.find(std::string(tag));
  return entry == metadata.end() ? "" : text(*entry);
}

std::string stampOf(std::int64_t time) {
  const std::time_t seconds = time;
  std::tm calendar{};
  gmtime_r(&seconds, &calendar);
  char stamp[20];
  std::strftime(stamp, sizeof stamp, "%Y:%m:%d %H:%M:%S", &calendar);
  return stamp;
}

std::map<std::string, Tags> allTagsOf(const path& folder, const Words& names, const Words& options) {
  Words arguments{"-a", "-G1:4"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  std::map<std::string, Tags> result;
  for (const json& file : readings(folder, std::move(arguments), names)) {
    Tags& tags = result[file.at("SourceFile").get<std::string>()];
    for (const auto& [tag, value] : file.items()) {
      if (tag == "SourceFile") continue;
      // A repeated tag has the number of the copy between its group and its name.
      tags[tag.substr(0, tag.find(':')) + tag.substr(tag.rfind(':'))].insert(text(value));
    }
  }
  return result;
}

std::set<std::string> changedByExifTool(const path& folder, const Words& names, Words arguments) {
  const TemporaryFolder copies;
  for (const std::string& name : names) std::filesystem::copy_file(folder / name, copies / name);
  arguments.emplace_back("-overwrite_original");
  answer(copies.path(), std::move(arguments), names);
  std::set<std::string> changed;
  for (const std::string& name : names) {
    if (readFile(copies / name) != readFile(folder / name)) changed.insert(name);
  }
  return changed;
}

}  // namespace tollbrook::test
