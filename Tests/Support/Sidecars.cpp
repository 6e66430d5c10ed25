#include "Support/Sidecars.h"

#include <nlohmann/json.hpp>

#include "Support/TemporaryFolder.h"

namespace tollbrook::test {

std::string sidecarJson(const SidecarContents& contents) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  if (contents.title) json["title"] = *contents.title;
  json["description"] = contents.caption.value_or("");
  if (contents.takenTime) json["photoTakenTime"] = {{"timestamp", std::to_string(*contents.takenTime)}};
  json["geoData"] = {{"latitude", contents.latitude.value_or(0.0)},
                     {"longitude", contents.longitude.value_or(0.0)}};
  if (contents.altitude) json["geoData"]["altitude"] = *contents.altitude;
  return json.dump(2);
}

void writePair(const std::filesystem::path& media, const std::string& bytes,
               const SidecarContents& contents) {
  writeFile(media, bytes);
  writeFile(sidecarOf(media), sidecarJson(contents));
}

std::filesystem::path sidecarOf(const std::filesystem::path& media) {
  return media.native() + ".supplemental-metadata.json";
}

}  // namespace tollbrook::test
