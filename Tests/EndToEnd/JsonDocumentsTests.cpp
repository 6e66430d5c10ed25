#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/Sidecars.h"
#include "TollbrookCore/ExifTool.h"

/// The documents of --json, read by another JSON reader than wrote them.
namespace tollbrook::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::SizeIs;

std::set<std::string> keys(const json& object) {
  std::set<std::string> result;
  for (const auto& entry : object.items()) result.insert(entry.key());
  return result;
}

const std::set<std::string> scanKeys{"folder",          "recursive",      "mediaCount",
                                     "matchedCount",    "unmatchedCount", "orphanJSONCount",
                                     "parseErrorCount", "listCapped",     "pairs"};
const std::set<std::string> pairKeys{"media", "sidecar", "kind", "status", "message", "data"};
const std::set<std::string> dataKeys{"title", "takenTime", "latitude", "longitude", "altitude", "caption"};
const std::set<std::string> outcomeKeys{
    "folder",          "seen",        "embeddedWriter", "attempted", "datesSet", "embeddedWritten", "skipped",
    "deletedSidecars", "alreadyDone", "failed",         "cancelled", "errors"};
const std::set<std::string> jobKeys{"id",          "folderPath", "phase",      "recursive", "options",
                                    "startedAt",   "updatedAt",  "written",    "skipped",   "failed",
                                    "alreadyDone", "doneCount",  "folderFound"};

class JsonDocumentsTest : public testing::Test {
 protected:
  JsonDocumentsTest() { std::filesystem::create_directory(place); }

  json scan(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"scan", place.string()});
    return tool.document(options);
  }

  // The last path components of the pairs' media.
  static std::vector<std::string> names(const json& report) {
    std::vector<std::string> result;
    for (const json& pair : report.at("pairs")) {
      result.push_back(std::filesystem::path(pair.at("media").get<std::string>()).filename());
    }
    return result;
  }

  const TemporaryFolder folder;
  const std::filesystem::path place = folder / "export";
  const CommandLine tool;
};

TEST_F(JsonDocumentsTest, AScanReportsEveryFieldUnderItsName) {
  writePair(place / "IMG_1.jpg", tinyJpeg(),
            {.takenTime = 1577836800, .latitude = 48.1, .longitude = 11.5, .title = "IMG_1.jpg"});
  writeFile(place / "IMG_2.mp4", tinyMp4(200));
  writeFile(place / "IMG_3.png", tinyPng());
  writeFile(place / "IMG_3.png.json", "no json");
  writeFile(place / "album.json", "{}");
  const json report = scan();
  EXPECT_EQ(
      report,
      json::parse(R"({"folder": "", "recursive": true, "mediaCount": 3, "matchedCount": 1,
      "unmatchedCount": 2, "orphanJSONCount": 1, "parseErrorCount": 1, "listCapped": false, "pairs": [
      {"kind": "image", "status": "ready", "message": null, "data": {"title": "IMG_1.jpg",
       "takenTime": 1577836800.0, "latitude": 48.1, "longitude": 11.5, "altitude": null, "caption": null}},
      {"kind": "video", "status": "unmatched", "message": null, "sidecar": null, "data": null},
      {"kind": "image", "status": "unmatched", "data": null}]})")
          .patch(json::array({
              {{"op", "replace"}, {"path", "/folder"}, {"value", place.string()}},
              {{"op", "add"}, {"path", "/pairs/0/media"}, {"value", (place / "IMG_1.jpg").string()}},
              {{"op", "add"},
               {"path", "/pairs/0/sidecar"},
               {"value", sidecarOf(place / "IMG_1.jpg").string()}},
              {{"op", "add"}, {"path", "/pairs/1/media"}, {"value", (place / "IMG_2.mp4").string()}},
              {{"op", "add"}, {"path", "/pairs/2/media"}, {"value", (place / "IMG_3.png").string()}},
              {{"op", "add"}, {"path", "/pairs/2/sidecar"}, {"value", (place / "IMG_3.png.json").string()}},
              {{"op", "add"}, {"path", "/pairs/2/message"}, {"value", report.at("pairs")[2].at("message")}},
          })));
  EXPECT_TRUE(report.at("pairs")[2].at("message").is_string());
  EXPECT_TRUE(report.at("mediaCount").is_number_integer());
  EXPECT_TRUE(report.at("pairs")[0].at("data").at("takenTime").is_number_float());
}

TEST_F(JsonDocumentsTest, AbsentValuesAreNullAndNeverLeftOut) {
  writeFile(place / "a.jpg", tinyJpeg());
  writePair(place / "b.jpg", tinyJpeg(), {.takenTime = std::nullopt, .caption = "only this"});
  const json report = scan();
  EXPECT_EQ(keys(report), scanKeys);
  ASSERT_THAT(report.at("pairs"), SizeIs(2));
  for (const json& pair : report.at("pairs")) EXPECT_EQ(keys(pair), pairKeys);
  const json& data = report.at("pairs")[1].at("data");
  EXPECT_EQ(keys(data), dataKeys);
  EXPECT_EQ(data, json::parse(R"({"title": null, "takenTime": null, "latitude": null, "longitude": null,
                                  "altitude": null, "caption": "only this"})"));
}

TEST_F(JsonDocumentsTest, NumbersThatJsonCannotCarryAreText) {
  const std::pair<const char*, json> times[] = {
      {"inf", "inf"}, {"-inf", "-inf"}, {"1e300", 1e300}, {"-1.5", -1.5}, {"0x10", 16.0}};
  int number = 0;
  for (const auto& [text, value] : times) {
    const std::string name = std::to_string(number++) + ".jpg";
    writeFile(place / name, tinyJpeg());
    writeFile(place / (name + ".json"), R"({"photoTakenTime": {"timestamp": ")" + std::string(text) + "\"}}");
  }
  const json report = scan();
  ASSERT_THAT(report.at("pairs"), SizeIs(std::size(times)));
  for (std::size_t at = 0; at < std::size(times); ++at) {
    EXPECT_EQ(report.at("pairs")[at].at("data").at("takenTime"), times[at].second) << times[at].first;
  }
}

TEST_F(JsonDocumentsTest, TextOfEveryKindComesThrough) {
  const std::string caption =
      "Grüße \"aus\" Zürich\\ \xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\nund\ttab\x01";
  writePair(place / "\xf0\x9f\x8f\x96 a\nb\"c\\d.jpg", tinyJpeg(), {.caption = caption});
  const json report = scan();
  EXPECT_THAT(names(report), ElementsAre("\xf0\x9f\x8f\x96 a\nb\"c\\d.jpg"));
  EXPECT_EQ(report.at("pairs")[0].at("data").at("caption"), caption);
  EXPECT_EQ(keys(report.at("pairs")[0]), pairKeys);
}

TEST_F(JsonDocumentsTest, APathThatIsNotUtf8IsShownAndAlsoGivenInBase64) {
  const std::string name = "caf\xe9\xff.jpg";
  try {
    writePair(place / name, tinyJpeg());
  } catch (const std::exception&) {
    GTEST_SKIP() << "this file system takes no such name: nothing was tested here";
  }
  ASSERT_TRUE(std::filesystem::exists(place / name));
  writePair(place / "plain.jpg", tinyJpeg());
  const json report = scan();
  ASSERT_THAT(report.at("pairs"), SizeIs(2));
  const json& odd = report.at("pairs")[0];
  EXPECT_EQ(odd.at("media"), (place / "caf\xef\xbf\xbd\xef\xbf\xbd.jpg").string());
  EXPECT_EQ(odd.at("sidecar"),
            (place / "caf\xef\xbf\xbd\xef\xbf\xbd.jpg.supplemental-metadata.json").string());
  // Decoded by another program.
  writeFile(folder / "base64", odd.at("mediaBytes").get<std::string>());
  const auto decoded = Program::run({"base64", {"-d", (folder / "base64").string()}});
  EXPECT_EQ(decoded.output, (place / name).string());
  EXPECT_FALSE(report.at("pairs")[1].contains("mediaBytes"));

  // Such a path stays out of the list of finished files, and its failure is shown all the same.
  const json failed =
      oneDocument(tool.run({"write", place.string(), "--no-embedded", "--no-file-dates", "--json"}).output);
  EXPECT_THAT(failed.at("errors"), testing::Contains("caf\xef\xbf\xbd\xef\xbf\xbd.jpg: Nothing was written"));
}

TEST_F(JsonDocumentsTest, AFolderThatIsNotUtf8HasADocumentOfItsOwn) {
  const std::filesystem::path odd = folder / "b\xfc\xff";
  try {
    writePair(odd / "a.jpg", tinyJpeg());
  } catch (const std::exception&) {
    GTEST_SKIP() << "this file system takes no such name: nothing was tested here";
  }
  const std::string shown = (folder / "b\xef\xbf\xbd\xef\xbf\xbd").string();
  EXPECT_EQ(tool.document({"scan", odd.string()}).at("folder"), shown);
  const json outcome = tool.document({"write", odd.string()});
  EXPECT_EQ(outcome.at("folder"), shown);
  EXPECT_EQ(outcome.at("datesSet"), 1);
  EXPECT_THAT(tool.document({"jobs"}).at("jobs"), SizeIs(1));
  EXPECT_EQ(tool.run({"forget", odd.string()}).status, 0);
  EXPECT_THAT(tool.document({"jobs"}).at("jobs"), SizeIs(0));
}

TEST_F(JsonDocumentsTest, PairsStandInTheOrderOfAFileBrowser) {
  for (const char* name : {"IMG_10.jpg", "img_9.jpg", "IMG_2.jpg", "a/IMG_3.jpg", "Zebra.jpg", "apple.jpg"}) {
    writeFile(place / name, tinyJpeg());
  }
  EXPECT_THAT(names(scan()),
              ElementsAre("apple.jpg", "IMG_2.jpg", "IMG_3.jpg", "img_9.jpg", "IMG_10.jpg", "Zebra.jpg"));
}

TEST_F(JsonDocumentsTest, ALimitCapsTheListAndNotTheCounts) {
  for (int number = 0; number < 7; ++number) writePair(place / (std::to_string(number) + ".jpg"), tinyJpeg());
  for (const auto& [limit, listed] :
       {std::pair("0", 0u), {"3", 3u}, {"7", 7u}, {"9223372036854775807", 7u}}) {
    const json report = scan({"--limit", limit});
    EXPECT_THAT(report.at("pairs"), SizeIs(listed)) << limit;
    EXPECT_EQ(report.at("listCapped"), listed < 7) << limit;
    EXPECT_EQ(report.at("mediaCount"), 7) << limit;
    EXPECT_EQ(report.at("matchedCount"), 7) << limit;
  }
  EXPECT_EQ(tool.run({"scan", place.string(), "--limit", "0"}).output,
            "7 of 7 files have sidecar metadata.\n");
  EXPECT_EQ(lines(tool.run({"scan", place.string(), "--limit", "3"}).output).size(), 4u);
}

TEST_F(JsonDocumentsTest, TheUsualLimitIsFourThousandPairs) {
  for (int number = 0; number < 4001; ++number) writeFile(place / (std::to_string(number) + ".jpg"), "");
  const json report = scan();
  EXPECT_THAT(report.at("pairs"), SizeIs(4000));
  EXPECT_EQ(report.at("listCapped"), true);
  EXPECT_EQ(report.at("mediaCount"), 4001);
}

TEST_F(JsonDocumentsTest, WithoutRecursionSubfoldersAreLeftOut) {
  writeFile(place / "a.jpg", tinyJpeg());
  writeFile(place / "sub/b.jpg", tinyJpeg());
  const json report = scan({"--no-recursive"});
  EXPECT_EQ(report.at("recursive"), false);
  EXPECT_THAT(names(report), ElementsAre("a.jpg"));
  EXPECT_EQ(scan().at("mediaCount"), 2);
}

TEST_F(JsonDocumentsTest, AWriteReportsItsOutcome) {
  writePair(place / "a.jpg", tinyJpeg());
  writePair(place / "b.jpg", tinyJpeg());
  setModificationDate(place / "b.jpg", 1425445567);
  writeFile(place / "c.jpg", tinyJpeg());
  const json outcome = tool.document({"write", place.string(), "--no-embedded", "--delete-sidecars"});
  EXPECT_EQ(outcome,
            json::parse(R"({"seen": 3, "embeddedWriter": "none", "attempted": 2, "datesSet": 1,
      "embeddedWritten": 0, "skipped": 1, "deletedSidecars": 1, "alreadyDone": 0, "failed": 0,
      "cancelled": false, "errors": []})")
                .patch(json::array({{{"op", "add"}, {"path", "/folder"}, {"value", place.string()}}})));
}

TEST_F(JsonDocumentsTest, AWriteSaysWhichWriterItHas) {
  writePair(place / "a.jpg", tinyJpeg());
  const json document = CommandLine(TOLLBROOK_CLI_WITHOUT_EXIFTOOL).document({"write", place.string()});
  EXPECT_EQ(document.at("embeddedWriter"), "built-in");
  EXPECT_EQ(keys(document), outcomeKeys);
  if (!ExifTool::path()) GTEST_SKIP() << "exiftool is not installed: one writer was tested here";
  EXPECT_EQ(tool.document({"write", place.string()}).at("embeddedWriter"), "exiftool");
}

TEST_F(JsonDocumentsTest, NothingToResumeIsTheSameDocumentWithZeros) {
  EXPECT_EQ(tool.document({"resume"}), json::parse(R"({"folder": null, "seen": 0, "embeddedWriter": "none",
      "attempted": 0, "datesSet": 0, "embeddedWritten": 0, "skipped": 0, "deletedSidecars": 0, "alreadyDone": 0,
      "failed": 0, "cancelled": false, "errors": []})"));
}

TEST_F(JsonDocumentsTest, JobsAreListedWithEveryField) {
  EXPECT_EQ(tool.document({"jobs"}), json::parse(R"({"jobs": []})"));
  writePair(place / "a.jpg", tinyJpeg());
  EXPECT_EQ(tool.run({"write", place.string(), "--no-recursive", "--no-captions", "--date-tolerance", "1.5"})
                .status,
            0);
  const json list = tool.document({"jobs"});
  EXPECT_EQ(keys(list), std::set<std::string>{"jobs"});
  ASSERT_THAT(list.at("jobs"), SizeIs(1));
  const json& job = list.at("jobs")[0];
  EXPECT_EQ(keys(job), jobKeys);
  EXPECT_THAT(job.at("id").get<std::string>(), testing::MatchesRegex("[0-9a-f]{64}"));
  EXPECT_EQ(job.at("folderPath"), place.string());
  EXPECT_EQ(job.at("phase"), "complete");
  EXPECT_EQ(job.at("recursive"), false);
  EXPECT_EQ(job.at("options"), json::parse(R"({"writeFileDates": true, "writeEmbedded": true,
      "writeCaptions": false, "skipIfDatesMatch": true, "deleteSidecars": false, "dateTolerance": 1.5})"));
  const char* const time = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z";
  EXPECT_THAT(job.at("startedAt").get<std::string>(), testing::MatchesRegex(time));
  EXPECT_THAT(job.at("updatedAt").get<std::string>(), testing::MatchesRegex(time));
  for (const char* count : {"written", "skipped", "failed", "alreadyDone", "doneCount"}) {
    EXPECT_TRUE(job.at(count).is_number_unsigned()) << count;
  }
  EXPECT_EQ(job.at("doneCount"), 1);
  EXPECT_EQ(job.at("folderFound"), true);
}

}  // namespace
}  // namespace tollbrook::test
