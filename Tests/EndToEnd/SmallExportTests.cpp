#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/ReadBack.h"
#include "Support/Sidecars.h"
#include "TollbrookCore/ExifTool.h"

/// An export made on the spot, with the names that exports are known for, from the command line to exiftool.
namespace tollbrook::test {
namespace {

constexpr std::int64_t firstTime = 1425445567;

struct Entry {
  const char* media;
  const char* sidecar;  ///< null when there is none of its own
  int time;             ///< which of the sidecars' times it gets: seconds after the first; -1 for none
};

// Every sidecar holds a time of its own, so that a wrong pair is seen.
constexpr Entry entries[] = {
    {"IMG_0001.jpg", "IMG_0001.jpg.supplemental-metadata.json", 1},
    {"IMG_0002.jpg", "IMG_0002.jpg.json", 2},
    {"IMG_0003.jpg", "IMG_0003.json", 3},
    {"IMG_0004.png", "IMG_0004.supplemental-metadata.json", 4},
    {"IMG_0005.JPG", "img_0005.jpg.Supplemental-Metadata.JSON", 5},
    // Cut to 51 characters, and to 46.
    {"An evening walk along the river.jpg", "An evening walk along the river.jpg.supplement.json", 6},
    {"A morning walk along the river.jpg", "A morning walk along the river.jpg.supple.json", 7},
    {"A name so long that nothing at all is left of the suffix.jpg",
     "A name so long that nothing at all is left of .json", 8},
    // Duplicates carry their number in different places.
    {"IMG_0009.jpg", "IMG_0009.jpg.supplemental-metadata.json", 9},
    {"IMG_0009(1).jpg", "IMG_0009.jpg.supplemental-metadata(1).json", 10},
    {"IMG_0009(2).jpg", "IMG_0009.jpg(2).json", 11},
    {"IMG_0009(3).jpg", "IMG_0009(3).jpg.json", 12},
    // Edited copies use the sidecar of the original.
    {"IMG_0001-edited.jpg", nullptr, 1},
    {"IMG_0002-bearbeitet.jpg", nullptr, 2},
    {"IMG_0009-edited.jpg", nullptr, 9},
    // The film taken with a photo.
    {"IMG_0003.mp4", nullptr, 3},
    {"MOV_0013.mp4", "MOV_0013.mp4.supplemental-metadata.json", 13},
    // Composed in one place, decomposed in the other.
    {"Caf\xc3\xa9.jpg", "Cafe\xcc\x81.jpg.supplemental-metadata.json", 14},
    {"\xf0\x9f\x8e\x82 party.jpg", "\xf0\x9f\x8e\x82 party.jpg.supplemental-metadata.json", 15},
    {"Album/IMG_0001.jpg", "Album/IMG_0001.jpg.supplemental-metadata.json", 16},
    {"IMG_0017.jpg", nullptr, -1},
    // A line break, and a name that looks like an option.
    {"IMG\n-Artist=x\n.jpg", "IMG\n-Artist=x\n.jpg.json", 18},
    {"-Artist=x.jpg", "-Artist=x.jpg.json", 19},
};

class SmallExportTest : public testing::Test {
 protected:
  SmallExportTest() {
    for (const Entry& entry : entries) {
      const std::filesystem::path media = place / entry.media;
      const std::string extension = media.extension();
      if (extension == ".png") writeFile(media, tinyPng());
      if (extension == ".jpg" || extension == ".JPG") writeFile(media, tinyJpeg());
      if (extension == ".mp4") {
        std::filesystem::create_directories(place);
        writeMp4(media, 500);
      }
      setModificationDate(media, untouched);
      if (entry.sidecar == nullptr) continue;
      writeFile(place / entry.sidecar,
                sidecarJson({.takenTime = firstTime + entry.time,
                             .latitude = 10.5 + entry.time,
                             .longitude = 20.25 + entry.time,
                             .altitude = 30.0 + entry.time,
                             .caption = "Größe " + std::to_string(entry.time) + " 🎉\nand more"}));
    }
    writeFile(place / "metadata.json", R"({"title": "Album"})");
  }

  static std::string captionInLines(int time) { return "Größe " + std::to_string(time) + " 🎉\nand more"; }
  /// As exiftool is given it.
  static std::string caption(int time) { return "Größe " + std::to_string(time) + " 🎉 and more"; }
  static std::string stamp(int time) {
    return "2015:03:04 05:06:" + std::to_string(7 + time).insert(0, time < 3 ? "0" : "");
  }

  static constexpr std::int64_t untouched = 1000000000;
  const TemporaryFolder folder;
  const std::filesystem::path place = folder / "export";
  const CommandLine tool;
};

TEST_F(SmallExportTest, AScanFindsTheSidecarOfEveryName) {
  const auto report = tool.document({"scan", place.string()});
  std::map<std::filesystem::path, nlohmann::json> pairs;
  for (const auto& pair : report.at("pairs")) {
    pairs.emplace(std::filesystem::path(pair.at("media").get<std::string>()), pair);
  }
  ASSERT_EQ(pairs.size(), std::size(entries));
  for (const Entry& entry : entries) {
    SCOPED_TRACE(entry.media);
    ASSERT_TRUE(pairs.contains(place / entry.media));
    const auto& pair = pairs.at(place / entry.media);
    if (entry.time < 0) {
      EXPECT_TRUE(pair.at("sidecar").is_null());
      continue;
    }
    if (entry.sidecar != nullptr) {
      EXPECT_EQ(pair.at("sidecar"), (place / entry.sidecar).string());
    }
    EXPECT_EQ(pair.at("data").at("takenTime"), static_cast<double>(firstTime + entry.time));
  }
  EXPECT_EQ(report.at("orphanJSONCount"), 1);
}

TEST_F(SmallExportTest, AWritePutsEverySidecarIntoItsFile) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const auto result = tool.run({"write", place.string(), "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "22 dated · 22 tagged\n");
  EXPECT_EQ(result.errors, "");
  const auto metadata = metadataBelow(place);
  for (const Entry& entry : entries) {
    SCOPED_TRACE(entry.media);
    const std::filesystem::path media = place / entry.media;
    if (entry.time < 0) {
      EXPECT_EQ(readFile(media), tinyJpeg());
      EXPECT_EQ(modificationDate(media), untouched);
      continue;
    }
    ASSERT_TRUE(metadata.contains(media));
    const auto& held = metadata.at(media);
    const bool isFilm = media.extension() == ".mp4";
    EXPECT_EQ(modificationDate(media), firstTime + entry.time);
    if (isFilm) {
      EXPECT_EQ(metadataValue(held, "QuickTime:CreateDate"), stamp(entry.time) + "+00:00");
      EXPECT_EQ(metadataValue(held, "Track1:MediaCreateDate"), stamp(entry.time) + "+00:00");
      EXPECT_EQ(metadataValue(held, "ItemList:Description"), caption(entry.time));
    } else {
      EXPECT_EQ(metadataValue(held, "ExifIFD:DateTimeOriginal"), stamp(entry.time));
      EXPECT_EQ(metadataValue(held, "ExifIFD:CreateDate"), stamp(entry.time));
      EXPECT_EQ(metadataValue(held, "IFD0:ImageDescription"), caption(entry.time));
      EXPECT_EQ(metadataValue(held, "Composite:GPSAltitude"), std::to_string(30 + entry.time));
    }
    EXPECT_EQ(metadataValue(held, "Composite:GPSPosition"),
              std::to_string(10 + entry.time) + ".5 " + std::to_string(20 + entry.time) + ".25");
    EXPECT_FALSE(held.contains("IFD0:Artist")) << "a name is no option";
  }
  EXPECT_EQ(tool.run({"write", place.string()}).output.substr(0, 2), "1 ")
      << "only the name that no line can hold";
}

TEST_F(SmallExportTest, WithoutExifToolPhotosAreWrittenAndAllDatesAreSet) {
  const CommandLine without(TOLLBROOK_CLI_WITHOUT_EXIFTOOL);
  const auto outcome = without.document({"write", place.string()});
  EXPECT_EQ(outcome.at("embeddedWriter"), "built-in");
  EXPECT_EQ(outcome.at("datesSet"), 22);
  EXPECT_GE(outcome.at("embeddedWritten"), 19) << "all but the films";
  EXPECT_EQ(outcome.at("failed"), 0);
  const auto metadata = metadataBelow(place);
  for (const Entry& entry : entries) {
    SCOPED_TRACE(entry.media);
    const std::filesystem::path media = place / entry.media;
    EXPECT_EQ(modificationDate(media), entry.time < 0 ? untouched : firstTime + entry.time);
    const std::string extension = media.extension();
    const bool isPhoto = extension == ".jpg" || extension == ".JPG";
    if (entry.time < 0 || !isPhoto || !metadata.contains(media)) continue;
    const auto& held = metadata.at(media);
    EXPECT_EQ(metadataValue(held, "ExifIFD:DateTimeOriginal"), stamp(entry.time));
    EXPECT_EQ(metadataValue(held, "IFD0:ImageDescription"), captionInLines(entry.time));
    EXPECT_EQ(metadataValue(held, "IPTC:Caption-Abstract"), captionInLines(entry.time));
    EXPECT_EQ(metadataValue(held, "Composite:GPSAltitude"), std::to_string(30 + entry.time));
    EXPECT_EQ(metadataValue(held, "Composite:GPSPosition"),
              std::to_string(10 + entry.time) + ".5 " + std::to_string(20 + entry.time) + ".25");
  }
}

}  // namespace
}  // namespace tollbrook::test
