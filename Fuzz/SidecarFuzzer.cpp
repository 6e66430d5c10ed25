#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "TollbrookCore/SidecarParser.h"

// Any bytes give a result or none; a result keeps the promises of SidecarData and comes from what another
// parser calls a JSON object.

namespace {

using tollbrook::SidecarData;

void require(bool condition) {
  if (!condition) std::abort();
}

void checkPromises(const SidecarData& data) {
  require(!data.title || !data.title->empty());
  require(!data.caption || !data.caption->empty());
  require(data.latitude.has_value() == data.longitude.has_value());
  require(!data.altitude || data.hasGPS());
  require(!data.hasGPS() || *data.latitude != 0 || *data.longitude != 0);
}

bool isPlainUtf8(std::string_view text) {
  return !text.starts_with("\xEF\xBB\xBF") && !text.starts_with("\xFF\xFE") &&
         !text.starts_with("\xFE\xFF") && text.find('\0') == std::string_view::npos;
}

bool isObject(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == '{' && nlohmann::json::accept(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const auto data = tollbrook::SidecarParser::parseData(text);
  if (data) checkPromises(*data);
  // Neither parser is to be judged by nesting, which only one of them limits.
  constexpr std::size_t tooShortToNestTooDeep = 1024;
  if (size < tooShortToNestTooDeep && isPlainUtf8(text)) require(data.has_value() == isObject(text));
  return 0;
}
