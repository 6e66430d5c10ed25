#include <fmt/format.h>

#include <array>
#include <limits>
#include <nlohmann/json.hpp>

#include "TollbrookCore/JobJournal.h"
#include "TollbrookCore/Support/Base64.h"

namespace tollbrook {
namespace {

using nlohmann::json;

constexpr std::array<std::pair<JobJournal::Phase, std::string_view>, 2> phases{
    {{JobJournal::Phase::writing, "writing"}, {JobJournal::Phase::complete, "complete"}}};

// A record nests two levels deep. What is deeper is refused before a tree of a million levels is built.
constexpr int deepestNesting = 32;

bool isNestedTooDeep(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      if (++depth > deepestNesting) return true;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return false;
}

/// RFC 3339 in UTC. No run writes a time outside the years 1 to 9999; the epoch stands in for one.
std::string encodeDate(TimePoint date) {
  const CivilTime civil = civilTime(date).value_or(*civilTime(fromEpoch(0)));
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", civil.year, civil.month, civil.day, civil.hour,
                     civil.minute, civil.second);
}

/// Reads text that has the shape of `pattern`, where 'd' stands for a digit and everything else for itself,
/// and gives the numbers that its runs of digits make.
template <std::size_t n>
std::optional<std::array<unsigned, n>> readNumbers(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return std::nullopt;
  std::array<unsigned, n> numbers{};
  std::size_t index = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (pattern[i] != 'd') {
      if (text[i] != pattern[i]) return std::nullopt;
      if (i > 0 && pattern[i - 1] == 'd') ++index;
    } else if (text[i] < '0' || text[i] > '9') {
      return std::nullopt;
    } else {
      numbers[index] = numbers[index] * 10 + static_cast<unsigned>(text[i] - '0');
    }
  }
  return numbers;
}

/// Seconds east of Greenwich of "Z", "+hh:mm" or "-hh:mm".
std::optional<double> readOffset(std::string_view text) {
  if (text == "Z") return 0.0;
  if (text.empty() || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  const auto clock = readNumbers<2>(text.substr(1), "dd:dd");
  if (!clock || (*clock)[0] > 23 || (*clock)[1] > 59) return std::nullopt;
  const double seconds = (*clock)[0] * 3600.0 + (*clock)[1] * 60.0;
  return text[0] == '-' ? -seconds : seconds;
}

std::optional<TimePoint> decodeDate(std::string_view text) {
  constexpr std::string_view pattern = "dddd-dd-ddTdd:dd:dd";
  const auto fields = readNumbers<6>(text.substr(0, pattern.size()), pattern);
  if (!fields) return std::nullopt;
  const auto offset = readOffset(text.substr(pattern.size()));
  const auto& [year, month, day, hour, minute, second] = *fields;
  const auto local = fromCivil({static_cast<int>(year), month, day, hour, minute, second});
  if (!offset || !local) return std::nullopt;
  const TimePoint date = *local - std::chrono::duration<double>(*offset);
  if (!civilTime(date)) return std::nullopt;
  return date;
}

/// Takes the members of an object one by one and remembers whether any was missing or of another type.
class Members {
 public:
  explicit Members(const json& object) : object_(object) {}

  bool complete() const { return complete_; }

  void read(const char* key, std::int64_t& field) {
    const json* value = find(key);
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const bool fits = value != nullptr && value->is_number_integer() &&
                      (!value->is_number_unsigned() || value->get<std::uint64_t>() <= largest);
    if (fits) {
      field = value->get<std::int64_t>();
    } else {
      complete_ = false;
    }
  }

  void read(const char* key, bool& field) {
    const json* value = find(key);
    if (value != nullptr && value->is_boolean()) {
      field = value->get<bool>();
    } else {
      complete_ = false;
    }
  }

  void read(const char* key, std::string& field) {
    read(key, field, [](const std::string& text) { return std::optional(text); });
  }

  /// A string that `convert` makes a value of, or none.
  template <typename Field, typename Convert>
  void read(const char* key, Field& field, Convert convert) {
    const json* value = find(key);
    if (value != nullptr && value->is_string()) {
      if (auto converted = convert(value->get_ref<const std::string&>())) {
        field = *std::move(converted);
        return;
      }
    }
    complete_ = false;
  }

  /// null counts as absent.
  const json* find(const char* key) const {
    const auto found = object_.find(key);
    return found == object_.end() || found->is_null() ? nullptr : &*found;
  }

 private:
  const json& object_;
  bool complete_ = true;
};

}  // namespace

std::string_view JobJournal::rawValue(Phase phase) { return phases[phase == Phase::writing ? 0 : 1].second; }

std::optional<JobJournal::Phase> JobJournal::phaseFromRawValue(std::string_view raw) {
  for (const auto& [phase, text] : phases) {
    if (text == raw) return phase;
  }
  return std::nullopt;
}

std::string JobJournal::encode(const Record& record) {
  json object{{"version", record.version},
              {"folderPath", record.folderPath},
              {"recursive", record.recursive},
              {"options", tollbrook::encode(record.options)},
              {"phase", rawValue(record.phase)},
              {"startedAt", encodeDate(record.startedAt)},
              {"updatedAt", encodeDate(record.updatedAt)},
              {"written", record.written},
              {"skipped", record.skipped},
              {"failed", record.failed},
              {"alreadyDone", record.alreadyDone}};
  if (record.bookmark) object["bookmark"] = Base64::encode(*record.bookmark);
  // JSON has no way to carry a path that is not UTF-8, so such a job is found again only by its path given
  // anew: the name of its directory is made of the path's own bytes.
  return object.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

std::optional<JobJournal::Record> JobJournal::decode(std::string_view text) {
  // The parser takes a NUL for the end of the text.
  if (text.find('\0') != std::string_view::npos || isNestedTooDeep(text)) return std::nullopt;
  const json object = json::parse(text, nullptr, false);
  if (!object.is_object()) return std::nullopt;
  Members members(object);
  Record record;
  members.read("version", record.version);
  members.read("folderPath", record.folderPath);
  members.read("recursive", record.recursive);
  members.read("phase", record.phase, phaseFromRawValue);
  members.read("startedAt", record.startedAt, decodeDate);
  members.read("updatedAt", record.updatedAt, decodeDate);
  members.read("written", record.written);
  members.read("skipped", record.skipped);
  members.read("failed", record.failed);
  members.read("alreadyDone", record.alreadyDone);
  if (members.find("bookmark") != nullptr) {
    record.bookmark.emplace();
    members.read("bookmark", *record.bookmark, Base64::decode);
  }
  const json* options = members.find("options");
  const auto decoded = options != nullptr ? decodeRestoreOptions(*options) : std::nullopt;
  if (!decoded || !members.complete()) return std::nullopt;
  record.options = *decoded;
  return record;
}

}  // namespace tollbrook
