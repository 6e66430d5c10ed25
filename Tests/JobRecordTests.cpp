#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "TollbrookCore/JobJournal.h"

namespace tollbrook {
namespace {

using nlohmann::json;

JobJournal::Record sample() {
  JobJournal::Record record;
  record.folderPath = "/photos/Köln \"2015\"";
  record.bookmark = std::string("\0\x01\xff book", 8);
  record.recursive = false;
  record.options = defaultRestoreOptions();
  record.options.dateTolerance = 2.5;
  record.phase = JobJournal::Phase::complete;
  record.startedAt = fromEpoch(1714555800);
  record.updatedAt = fromEpoch(1714555923);
  record.written = 12;
  record.skipped = 3;
  record.failed = 1;
  record.alreadyDone = std::numeric_limits<std::int64_t>::max();
  return record;
}

json sampleJson() { return json::parse(JobJournal::encode(sample())); }

std::optional<JobJournal::Record> decode(const json& object) { return JobJournal::decode(object.dump()); }

/// The record after one member was set to this value.
std::optional<JobJournal::Record> decodeWith(const char* key, const json& value) {
  json object = sampleJson();
  object[key] = value;
  return decode(object);
}

/// The same with a value that is JSON text of its own.
std::optional<JobJournal::Record> decodeWithText(const char* key, const std::string& value) {
  std::string text = sampleJson().dump();
  const std::string member = '"' + std::string(key) + "\":";
  const std::size_t start = text.find(member) + member.size();
  text.replace(start, text.find_first_of(",}", start) - start, value);
  return JobJournal::decode(text);
}

TEST(JobPhase, RawValuesAreExact) {
  EXPECT_EQ(JobJournal::rawValue(JobJournal::Phase::writing), "writing");
  EXPECT_EQ(JobJournal::rawValue(JobJournal::Phase::complete), "complete");
  EXPECT_EQ(JobJournal::phaseFromRawValue("writing"), JobJournal::Phase::writing);
  EXPECT_EQ(JobJournal::phaseFromRawValue("complete"), JobJournal::Phase::complete);
  EXPECT_EQ(JobJournal::phaseFromRawValue("Complete"), std::nullopt);
  EXPECT_EQ(JobJournal::phaseFromRawValue(""), std::nullopt);
}

TEST(JobRecord, SurvivesEncodingAndDecoding) {
  EXPECT_EQ(JobJournal::decode(JobJournal::encode(sample())), sample());
}

TEST(JobRecord, IsPrettyPrintedWithItsKeysSorted) {
  JobJournal::Record record = sample();
  record.folderPath = "/photos";
  record.bookmark = "abcd";
  record.alreadyDone = 0;
  EXPECT_EQ(JobJournal::encode(record), R"({
  "alreadyDone": 0,
  "bookmark": "YWJjZA==",
  "failed": 1,
  "folderPath": "/photos",
  "options": {
    "dateTolerance": 2.5,
    "deleteSidecars": false,
    "skipIfDatesMatch": true,
    "writeCaptions": true,
    "writeEmbedded": true,
    "writeFileDates": true
  },
  "phase": "complete",
  "recursive": false,
  "skipped": 3,
  "startedAt": "2024-05-01T09:30:00Z",
  "updatedAt": "2024-05-01T09:32:03Z",
  "version": 1,
  "written": 12
}
)");
}

TEST(JobRecord, NeedsEveryKeyButTheBookmark) {
  const json complete = sampleJson();
  for (const auto& member : complete.items()) {
    json without = complete;
    without.erase(member.key());
    EXPECT_EQ(decode(without).has_value(), member.key() == "bookmark") << member.key();
  }
  json without = sampleJson();
  without.erase("bookmark");
  EXPECT_EQ(decode(without)->bookmark, std::nullopt);
  JobJournal::Record record = sample();
  record.bookmark.reset();
  EXPECT_FALSE(json::parse(JobJournal::encode(record)).contains("bookmark"));
}

TEST(JobRecord, NeedsEveryValueOfItsType) {
  const json complete = sampleJson();
  for (const auto& member : complete.items()) {
    for (const json& wrong :
         {json(json::array()), json(json::object()), json(member.value().is_string() ? 1 : -1.5)}) {
      EXPECT_EQ(decodeWith(member.key().c_str(), wrong), std::nullopt) << member.key() << ' ' << wrong;
    }
    EXPECT_EQ(decodeWith(member.key().c_str(), nullptr).has_value(), member.key() == "bookmark")
        << member.key();
  }
}

TEST(JobRecord, TakesOnlyIntegersAsCounts) {
  for (const char* key : {"version", "written", "skipped", "failed", "alreadyDone"}) {
    for (const char* wrong :
         {"2.5", "2.0", "2e0", "true", "\"2\"", "9223372036854775808", "-9223372036854775809", "1e400"}) {
      EXPECT_EQ(decodeWithText(key, wrong), std::nullopt) << key << ' ' << wrong;
    }
  }
  EXPECT_EQ(decodeWithText("written", "9223372036854775807")->written,
            std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(decodeWithText("written", "-9223372036854775808")->written,
            std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(decodeWithText("written", "-0")->written, 0);
}

TEST(JobRecord, TakesAnyVersion) { EXPECT_EQ(decodeWith("version", 7)->version, 7); }

TEST(JobRecord, TakesOnlyBooleansAsBooleans) {
  for (const json& wrong : {json(1), json(0), json("true")})
    EXPECT_EQ(decodeWith("recursive", wrong), std::nullopt);
}

TEST(JobRecord, TakesOnlyKnownPhases) {
  EXPECT_EQ(decodeWith("phase", "writing")->phase, JobJournal::Phase::writing);
  for (const char* wrong : {"", "Writing", "paused", "writing "})
    EXPECT_EQ(decodeWith("phase", wrong), std::nullopt);
}

TEST(JobRecord, TakesItsOptionsOnlyAsAWhole) {
  json options = encode(defaultRestoreOptions());
  options["later"] = 1;
  EXPECT_EQ(decodeWith("options", options)->options, defaultRestoreOptions());
  options.erase("writeEmbedded");
  EXPECT_EQ(decodeWith("options", options), std::nullopt);
}

TEST(JobRecord, PassesOverUnknownKeys) {
  json object = sampleJson();
  object["later"] = {{"anything", {1, 2, nullptr}}};
  EXPECT_EQ(decode(object), sample());
}

TEST(JobRecord, TakesTheLastOfRepeatedKeys) {
  std::string text = sampleJson().dump();
  text.pop_back();
  EXPECT_EQ(JobJournal::decode(text + ",\"written\":99}")->written, 99);
}

TEST(JobRecord, TakesAnyLayout) {
  EXPECT_EQ(JobJournal::decode(sampleJson().dump()), sample());
  EXPECT_EQ(JobJournal::decode("\r\n\t " + sampleJson().dump(7) + "\n\n"), sample());
}

TEST(JobRecord, RefusesTextThatIsNoJson) {
  const std::string text = sampleJson().dump();
  EXPECT_EQ(JobJournal::decode(""), std::nullopt);
  EXPECT_EQ(JobJournal::decode("null"), std::nullopt);
  EXPECT_EQ(JobJournal::decode("[" + text + "]"), std::nullopt);
  EXPECT_EQ(JobJournal::decode(text + "x"), std::nullopt);
  EXPECT_EQ(JobJournal::decode(text + std::string(1, '\0')), std::nullopt);
  EXPECT_EQ(JobJournal::decode("// comment\n" + text), std::nullopt);
  EXPECT_EQ(decodeWithText("folderPath", "\"\xff\""), std::nullopt);
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_EQ(JobJournal::decode(text.substr(0, length)), std::nullopt) << length;
  }
}

TEST(JobRecord, RefusesHostileNesting) {
  for (const char* opening : {"[", "{\"a\":", "[{\"a\":"}) {
    std::string text;
    for (int i = 0; i < 1'000'000 / 5; ++i) text += opening;
    EXPECT_EQ(JobJournal::decode(text), std::nullopt);
    EXPECT_EQ(decodeWithText("written", "1,\"later\":" + text), std::nullopt);
  }
  const std::string brackets(1000, '[');
  EXPECT_EQ(decodeWith("folderPath", brackets + "\\\"" + brackets)->folderPath, brackets + "\\\"" + brackets)
      << "brackets in a string nest nothing";
}

TEST(JobRecord, DatesAreWholeSecondsInUtc) {
  JobJournal::Record record = sample();
  record.startedAt = fromEpoch(1714555800.999);
  record.updatedAt = fromEpoch(-0.25);
  const json object = json::parse(JobJournal::encode(record));
  EXPECT_EQ(object["startedAt"], "2024-05-01T09:30:00Z");
  EXPECT_EQ(object["updatedAt"], "1969-12-31T23:59:59Z");
}

TEST(JobRecord, ReadsDatesWithAnOffset) {
  const auto started = [](const char* text) { return decodeWith("startedAt", text)->startedAt; };
  EXPECT_EQ(started("2024-05-01T09:30:00Z"), fromEpoch(1714555800));
  EXPECT_EQ(started("2024-05-01T11:30:00+02:00"), fromEpoch(1714555800));
  EXPECT_EQ(started("2024-04-30T23:45:00-09:45"), fromEpoch(1714555800));
  EXPECT_EQ(started("2024-02-29T00:00:00-00:00"), fromEpoch(1709164800));
}

TEST(JobRecord, RefusesEveryOtherDate) {
  for (const char* wrong : {"",
                            "Z",
                            "2024-05-01",
                            "2024-05-01T09:30:00",
                            "2024-05-01 09:30:00Z",
                            "2024-05-01T09:30Z",
                            "2024-05-01T09:30:00.5Z",
                            "2024-05-01T09:30:60Z",
                            "2024-05-01T24:00:00Z",
                            "2024-13-01T09:30:00Z",
                            "2023-02-29T09:30:00Z",
                            "2024-05-00T09:30:00Z",
                            "0000-05-01T09:30:00Z",
                            "2024-05-01T09:30:00Z ",
                            " 2024-05-01T09:30:00Z",
                            "2024-05-01T09:30:00+2",
                            "2024-05-01T09:30:00+24:00",
                            "2024-05-01T09:30:00+02:60",
                            "2024-05-01T09:30:00+0200",
                            "2024-05-01T09:30:00*02:00",
                            "-024-05-01T09:30:00Z",
                            "2024-05-01T09:30:00z",
                            "+024-05-01T09:30:00Z",
                            "0001-01-01T00:00:00+00:01",
                            "9999-12-31T23:59:59-00:01"}) {
    EXPECT_EQ(decodeWith("startedAt", wrong), std::nullopt) << wrong;
    EXPECT_EQ(decodeWith("updatedAt", wrong), std::nullopt) << wrong;
  }
}

TEST(JobRecord, ADateOutsideTheCalendarDoesNoHarm) {
  for (const double seconds :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), 1e300, -1e300, 253402300800.0}) {
    JobJournal::Record record = sample();
    record.startedAt = fromEpoch(seconds);
    const auto read = JobJournal::decode(JobJournal::encode(record));
    ASSERT_TRUE(read) << seconds;
    EXPECT_EQ(read->startedAt, fromEpoch(0)) << seconds;
  }
}

TEST(JobRecord, KeepsBookmarksOfAnyBytesAndLength) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    JobJournal::Record record = sample();
    record.bookmark = bytes;
    EXPECT_EQ(JobJournal::decode(JobJournal::encode(record)), record) << i;
    bytes += static_cast<char>(i * 7);
  }
}

TEST(JobRecord, RefusesWhatIsNoBase64) {
  for (const char* wrong : {"YQ", "YQ=", "YQ===", "Y===", "====", "=", "YW=j", "YWJj\n", " YWJj", "YWJj    ",
                            "YW-j", "YW_j", "YW?j", "YR==", "YWK=", "YQ==YQ==", "\n\n\n\n", "    "}) {
    EXPECT_EQ(decodeWith("bookmark", wrong), std::nullopt) << wrong;
  }
  EXPECT_EQ(decodeWith("bookmark", "")->bookmark, "");
  EXPECT_EQ(decodeWith("bookmark", "YQ==")->bookmark, "a");
  EXPECT_EQ(decodeWith("bookmark", "YWI=")->bookmark, "ab");
  EXPECT_EQ(decodeWith("bookmark", "AAAA")->bookmark, std::string(3, '\0'));
}

TEST(JobRecord, OfAFolderThatIsNotUtf8IsWrittenWithReplacementCharacters) {
  JobJournal::Record record = sample();
  record.folderPath = "/photos/\xff\xfe/K\xf6ln";
  const auto read = JobJournal::decode(JobJournal::encode(record));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->folderPath, "/photos/\ufffd\ufffd/K\ufffdln");
}

}  // namespace
}  // namespace tollbrook
