#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>

#include "Support/CommandLine.h"
#include "Support/Names.h"
#include "Support/PixelData.h"
#include "Support/ReadBack.h"
#include "Support/Sidecars.h"
#include "TollbrookCore/BuiltInWriter.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Models.h"

/// Real photos and videos of many makes, and damaged ones: written by the command line, read back by
/// exiftool, decoded by other programs. TOLLBROOK_CORPUS_SUBSET=1 in the environment takes every eighth file.
namespace tollbrook::test {
namespace {

using nlohmann::json;
using Names = std::vector<std::string>;

const std::filesystem::path corpus = TOLLBROOK_CORPUS;

Names mediaIn(const std::filesystem::path& folder) {
  Names names = namesIn(folder);
  std::erase_if(names, [](const std::string& name) { return !isMedia(inferMediaKindFrom(name)); });
  return names;
}

Names chosen(Names names) {
  const char* subset = std::getenv("TOLLBROOK_CORPUS_SUBSET");
  if (subset == nullptr || std::string(subset) != "1") return names;
  Names few;
  for (std::size_t index = 0; index < names.size(); index += 8) few.push_back(names[index]);
  return few;
}

// What the sidecar of the file with this number says.
struct Told {
  std::int64_t time;
  double latitude;
  double longitude;
  double altitude;
  std::string caption;
};

Told told(std::size_t number) {
  const double north = number % 2 == 0 ? 1 : -1;
  const double east = number / 2 % 2 == 0 ? 1 : -1;
  const auto step = static_cast<double>(number);
  return {.time = 946684800 + static_cast<std::int64_t>(number) * 2345678,
          .latitude = north * (3.25 + step * 0.25),
          .longitude = east * (11.576124 + step * 0.5),
          .altitude = number % 3 == 0 ? -12.5 : 519.25,
          .caption = fmt::format("Café in Łódź 🎉👩‍🚀 no. {}\nand a second line", number)};
}

// Copies of the files, each beside its sidecar.
void makeTree(const std::filesystem::path& from, const Names& names, const std::filesystem::path& to) {
  std::filesystem::create_directories(to);
  for (std::size_t number = 0; number < names.size(); ++number) {
    const std::string& name = names[number];
    const Told data = told(number);
    std::filesystem::copy_file(from / name, to / name);
    writeFile(sidecarOf(to / name), sidecarJson({.takenTime = data.time,
                                                 .latitude = data.latitude,
                                                 .longitude = data.longitude,
                                                 .altitude = data.altitude,
                                                 .caption = data.caption,
                                                 .title = name}));
  }
}

void changeByExifTool(const std::filesystem::path& at, const Names& assignments) {
  Program::Call call{.program = ExifTool::path()->string(), .arguments = {"-q", "-q", "-overwrite_original"}};
  call.arguments.insert(call.arguments.end(), assignments.begin(), assignments.end());
  call.arguments.push_back(at.string());
  Program::run(call);
}

// What exiftool itself can do with each file, tried on copies.
struct Probe {
  std::set<std::string> writable;  ///< takes tags that are not bound to its kind
  std::set<std::string> refused;   ///< takes nothing, not even the dates in a film's headers
  std::set<std::string> withXmp;
  std::map<std::string, std::size_t> tracks;
};

Probe probe(const std::filesystem::path& from, const Names& names, const std::filesystem::path& copies) {
  Probe result;
  std::filesystem::create_directories(copies);
  for (const std::string& name : names) std::filesystem::copy_file(from / name, copies / name);
  const auto isChanged = [&](const std::string& name) {
    return readFile(from / name) != readFile(copies / name);
  };
  changeByExifTool(copies, {"-EXIF:Artist=probe", "-XMP:Label=probe"});
  for (const std::string& name : names) {
    if (isChanged(name)) result.writable.insert(name);
  }
  for (const auto& [path, metadata] : metadataBelow(copies)) {
    if (metadataValue(metadata, "XMP-xmp:Label") == "probe") result.withXmp.insert(path.filename());
    for (const auto& [key, value] : metadata.items()) {
      if (key.ends_with(":TrackCreateDate")) ++result.tracks[path.filename()];
    }
  }
  changeByExifTool(copies, {"-AllDates=2001:02:03 04:05:06"});
  for (const std::string& name : names) {
    if (!isChanged(name)) result.refused.insert(name);
  }
  return result;
}

using Snapshot = std::map<std::string, std::pair<std::string, double>>;

Snapshot snapshot(const std::filesystem::path& folder) {
  Snapshot result;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    result[entry.path().filename()] = {readFile(entry.path()), modificationDate(entry.path())};
  }
  return result;
}

// Nothing is left behind, nothing is lost.
void expectNothingButPairs(const std::filesystem::path& folder, const Names& names) {
  Names expected = names;
  for (const std::string& name : names) expected.push_back(sidecarOf(name));
  EXPECT_THAT(namesIn(folder), testing::UnorderedElementsAreArray(expected));
}

void expectDates(const std::filesystem::path& tree, const Names& names) {
  for (std::size_t number = 0; number < names.size(); ++number) {
    EXPECT_EQ(modificationDate(tree / names[number]), static_cast<double>(told(number).time))
        << names[number];
  }
}

void expectSamePixels(const std::filesystem::path& from, const std::filesystem::path& tree,
                      const Names& names, Pictures pictures = Pictures::all) {
  Names changed;
  for (const std::string& name : names) {
    if (readFile(from / name) != readFile(tree / name)) changed.push_back(name);
  }
  const auto before = pixelDataOf(from, changed, pictures);
  const auto after = pixelDataOf(tree, changed, pictures);
  std::map<std::string, std::size_t> compared;
  for (const std::string& name : changed) {
    // What nobody can read shows nothing, before and after.
    EXPECT_EQ(before.at(name).means, after.at(name).means) << name;
    EXPECT_TRUE(before.at(name).fingerprint == after.at(name).fingerprint) << name;
    ++compared[before.at(name).means];
    if (before.at(name).means == "nothing") std::cout << "not compared: " << name << '\n';
  }
  std::cout << "of " << names.size() << " files " << names.size() - changed.size() << " kept every byte";
  for (const auto& [means, count] : compared) std::cout << "; " << count << " compared by " << means;
  std::cout << '\n';
  if (!changed.empty() && !compared.contains("ImageMagick"))
    std::cout << "ImageMagick is not installed: no photo was decoded\n";
}

// One tree of the whole corpus, written once; the tests look at it.
struct Written {
  const TemporaryFolder folder;
  const std::filesystem::path media = corpus / "media";
  const std::filesystem::path tree = folder / "tree";
  const Names names = chosen(mediaIn(media));
  const Probe probed = probe(media, names, folder / "probe");
  const CommandLine tool;
  Program::Result result;
  std::map<std::filesystem::path, json> metadata;

  Written() {
    makeTree(media, names, tree);
    result = tool.run({"write", tree.string(), "--json", "--quiet"});
    metadata = metadataBelow(tree);
  }
};

class CorpusTest : public testing::Test {
 protected:
  static void TearDownTestSuite() { written_.reset(); }
  void SetUp() override {
    if (!std::filesystem::exists(corpus / "media"))
      GTEST_SKIP() << "there are no sample photos in " << corpus << ": nothing was tested here";
    TOLLBROOK_NEEDS_EXIFTOOL();
    if (!written_) written_ = std::make_unique<Written>();
  }

  // Calls `check(number, name, metadata)` for each file that exiftool can write.
  template <typename Check>
  void eachWritable(const Check& check) {
    for (std::size_t number = 0; number < written().names.size(); ++number) {
      const std::string& name = written().names[number];
      if (!written().probed.writable.contains(name)) continue;
      SCOPED_TRACE(name);
      const auto found = written().metadata.find(written().tree / name);
      ASSERT_NE(found, written().metadata.end());
      check(told(number), name, found->second);
    }
  }
  static const Written& written() { return *written_; }

 private:
  static inline std::unique_ptr<Written> written_;
};

// The part of a tag's name behind its group.
std::string tagName(const std::string& key) { return key.substr(key.find(':') + 1); }

TEST_F(CorpusTest, EveryFileIsWrittenAndNoneFails) {
  EXPECT_EQ(written().result.status, 0);
  EXPECT_EQ(written().result.errors, "");
  const json outcome = oneDocument(written().result.output);
  EXPECT_EQ(outcome.at("attempted"), written().names.size());
  EXPECT_EQ(outcome.at("datesSet"), written().names.size());
  EXPECT_EQ(outcome.at("failed"), 0);
  expectNothingButPairs(written().tree, written().names);
  expectDates(written().tree, written().names);
}

TEST_F(CorpusTest, TheDatesReadBackFromEveryFileThatExifToolCanWrite) {
  std::size_t checked = 0;
  eachWritable([&](const Told& data, const std::string& name, const json& metadata) {
    ++checked;
    std::size_t original = 0;
    std::size_t created = 0;
    for (const auto& [key, value] : metadata.items()) {
      if (tagName(key) != "DateTimeOriginal" && tagName(key) != "CreateDate") continue;
      // In one file the XMP is damaged and stays as it was.
      if (key.starts_with("XMP-") && !written().probed.withXmp.contains(name)) continue;
      ++(tagName(key) == "CreateDate" ? created : original);
      const std::string text = value.get<std::string>();
      EXPECT_EQ(text.substr(0, 19), stampOf(data.time)) << key;
      EXPECT_TRUE(text.size() == 19 || text.substr(19) == "+00:00") << key << text;
    }
    EXPECT_GT(original, 0u);
    EXPECT_GT(created, 0u);
  });
  EXPECT_EQ(checked, written().probed.writable.size());
}

TEST_F(CorpusTest, TheFilmsHoldTheDateInEveryTrack) {
  std::size_t films = 0;
  std::size_t allTracks = 0;
  eachWritable([&](const Told& data, const std::string& name, const json& metadata) {
    if (inferMediaKindFrom(name) != MediaKind::video) return;
    ++films;
    std::size_t tracks = 0;
    EXPECT_EQ(metadataValue(metadata, "QuickTime:CreateDate"), stampOf(data.time) + "+00:00");
    for (const auto& [key, value] : metadata.items()) {
      const std::string tag = tagName(key);
      if (tag == "TrackCreateDate") ++tracks;
      if (tag != "TrackCreateDate" && tag != "TrackModifyDate" && tag != "MediaCreateDate" &&
          tag != "MediaModifyDate")
        continue;
      EXPECT_EQ(value, stampOf(data.time) + "+00:00") << key;
    }
    const auto before = written().probed.tracks.find(name);
    EXPECT_EQ(tracks, before == written().probed.tracks.end() ? 0 : before->second);
    allTracks += tracks;
  });
  std::cout << films << " films, " << allTracks << " tracks\n";
  EXPECT_GT(allTracks, 0u);
}

TEST_F(CorpusTest, ThePositionsReadBackFromEveryFileThatExifToolCanWrite) {
  constexpr double tenCentimetres = 1e-6;
  eachWritable([&](const Told& data, const std::string&, const json& metadata) {
    const auto number = [&](const char* tag) {
      const std::string text = metadataValue(metadata, tag);
      return text.empty() ? std::nan("") : std::stod(text);
    };
    const bool isInExif = metadata.contains("GPS:GPSLatitude");
    const bool isInXmp = metadata.contains("XMP-exif:GPSLatitude");
    EXPECT_TRUE(isInExif || isInXmp);
    if (isInExif) {
      EXPECT_NEAR(number("GPS:GPSLatitude"), std::abs(data.latitude), tenCentimetres);
      EXPECT_EQ(metadataValue(metadata, "GPS:GPSLatitudeRef"), data.latitude < 0 ? "S" : "N");
      EXPECT_NEAR(number("GPS:GPSLongitude"), std::abs(data.longitude), tenCentimetres);
      EXPECT_EQ(metadataValue(metadata, "GPS:GPSLongitudeRef"), data.longitude < 0 ? "W" : "E");
      EXPECT_NEAR(number("GPS:GPSAltitude"), std::abs(data.altitude), 0.01);
      EXPECT_EQ(metadataValue(metadata, "GPS:GPSAltitudeRef"), data.altitude < 0 ? "1" : "0");
    }
    if (isInXmp) {
      EXPECT_NEAR(number("XMP-exif:GPSLatitude"), data.latitude, tenCentimetres);
      EXPECT_NEAR(number("XMP-exif:GPSLongitude"), data.longitude, tenCentimetres);
      EXPECT_NEAR(number("XMP-exif:GPSAltitude"), std::abs(data.altitude), 0.01);
      EXPECT_EQ(metadataValue(metadata, "XMP-exif:GPSAltitudeRef"), data.altitude < 0 ? "1" : "0");
    }
  });
}

TEST_F(CorpusTest, TheCaptionsReadBackFromEveryFileThatExifToolCanWrite) {
  eachWritable([&](const Told& data, const std::string&, const json& metadata) {
    std::string caption = data.caption;
    std::replace(caption.begin(), caption.end(), '\n', ' ');
    std::size_t places = 0;
    for (const char* tag : {"IFD0:ImageDescription", "XMP-dc:Description", "XMP-tiff:ImageDescription",
                            "ItemList:Description", "PNG:Description"}) {
      if (!metadata.contains(tag)) continue;
      ++places;
      EXPECT_EQ(metadataValue(metadata, tag), caption) << tag;
    }
    EXPECT_GT(places, 0u);
  });
}

TEST_F(CorpusTest, ThePixelsAreUnchanged) {
  expectSamePixels(written().media, written().tree, written().names);
}

TEST_F(CorpusTest, WhatExifToolRefusesKeepsItsBytes) {
  for (const std::string& name : written().names) {
    if (!written().probed.refused.contains(name)) continue;
    EXPECT_TRUE(readFile(written().media / name) == readFile(written().tree / name)) << name;
  }
}

TEST_F(CorpusTest, ASecondWriteChangesNothingAndAThirdAfterForgetSkipsAllByTheirDates) {
  const Snapshot before = snapshot(written().tree);
  const auto count = written().names.size();
  const auto second = written().tool.run({"write", written().tree.string(), "--quiet"});
  EXPECT_EQ(second.status, 0);
  EXPECT_EQ(second.output, fmt::format("{} already finished\n", count));
  EXPECT_TRUE(snapshot(written().tree) == before);
  EXPECT_EQ(written().tool.run({"forget", written().tree.string()}).status, 0);
  const auto third = written().tool.run({"write", written().tree.string(), "--quiet"});
  EXPECT_EQ(third.status, 0);
  EXPECT_EQ(third.output, fmt::format("{} already correct\n", count));
  EXPECT_EQ(third.errors, "");
  EXPECT_TRUE(snapshot(written().tree) == before);
}

class CorpusFolderTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(corpus / "media"))
      GTEST_SKIP() << "there are no sample photos in " << corpus << ": nothing was tested here";
  }

  const TemporaryFolder folder;
  const std::filesystem::path tree = folder / "tree";
};

TEST_F(CorpusFolderTest, WithoutExifToolImagesAreWrittenDatesAreSetAndPixelsStay) {
  const Names names = chosen(mediaIn(corpus / "media"));
  makeTree(corpus / "media", names, tree);
  const CommandLine tool(TOLLBROOK_CLI_WITHOUT_EXIFTOOL);
  const json outcome = tool.document({"write", tree.string(), "--quiet"});
  EXPECT_EQ(outcome.at("embeddedWriter"), "built-in");
  EXPECT_EQ(outcome.at("datesSet"), names.size());
  const auto images = std::count_if(names.begin(), names.end(), [](const std::string& name) {
    return isImageIOExtension(fileExtension(name));
  });
  // Every eighth file meets more of the refused ones than their share.
  EXPECT_GE(outcome.at("embeddedWritten").get<double>(), 0.75 * static_cast<double>(images));
  expectNothingButPairs(tree, names);
  expectDates(tree, names);
  // Of several pages or pictures the first is kept.
  expectSamePixels(corpus / "media", tree, names, Pictures::first);
  const Snapshot before = snapshot(tree);
  EXPECT_EQ(tool.document({"write", tree.string(), "--quiet"}).at("alreadyDone"), names.size());
  EXPECT_TRUE(snapshot(tree) == before);
}

// Damaged files: the run comes through, and what is `untouchable` stays as it is.
void expectSurvival(const std::string& program, const std::filesystem::path& tree,
                    const std::set<std::string>& untouchable) {
  const std::filesystem::path broken = corpus / "broken/media";
  const Names names = mediaIn(broken);
  makeTree(broken, names, tree);
  const CommandLine tool(program);
  const json outcome = tool.document({"write", tree.string(), "--quiet"});
  EXPECT_EQ(outcome.at("seen"), names.size());
  EXPECT_EQ(outcome.at("attempted"), names.size());
  expectNothingButPairs(tree, names);
  expectDates(tree, names);
  for (const std::string& name : untouchable) {
    EXPECT_TRUE(readFile(broken / name) == readFile(tree / name)) << name;
  }
  expectSamePixels(broken, tree, names);
  EXPECT_EQ(tool.document({"write", tree.string(), "--quiet"}).at("alreadyDone"), names.size());
}

TEST_F(CorpusFolderTest, DamagedFilesCostNothing) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  const std::filesystem::path broken = corpus / "broken/media";
  std::set<std::string> refused;
  // One by one, since some of them end exiftool.
  for (const std::string& name : mediaIn(broken)) {
    std::filesystem::copy_file(broken / name, folder / name);
    changeByExifTool(folder / name,
                     {"-EXIF:Artist=probe", "-XMP:Label=probe", "-AllDates=2001:02:03 04:05:06"});
    if (readFile(broken / name) == readFile(folder / name)) refused.insert(name);
  }
  std::cout << "exiftool refuses " << refused.size() << " of them\n";
  expectSurvival(TOLLBROOK_CLI, tree, refused);
}

TEST_F(CorpusFolderTest, DamagedFilesCostNothingWithoutExifToolEither) {
  expectSurvival(TOLLBROOK_CLI_WITHOUT_EXIFTOOL, tree, {});
}

TEST_F(CorpusFolderTest, DamagedSidecarsAreReportedAsExpected) {
  std::filesystem::copy(corpus / "broken/sidecars", tree);
  std::map<std::string, json> pairs;
  const json report = CommandLine().document({"scan", tree.string()});
  for (const json& pair : report.at("pairs")) {
    pairs.emplace(std::filesystem::path(pair.at("media").get<std::string>()).stem(), pair);
  }
  std::istringstream expected(readFile(tree / "EXPECTED.tsv"));
  std::string line;
  std::getline(expected, line);
  std::size_t checked = 0;
  while (std::getline(expected, line)) {
    std::istringstream fields(line);
    std::string name, status, time;
    std::getline(fields, name, '\t');
    std::getline(fields, status, '\t');
    std::getline(fields, time, '\t');
    SCOPED_TRACE(name);
    ASSERT_TRUE(pairs.contains(name));
    const json& pair = pairs.at(name);
    EXPECT_TRUE(status == "either" || pair.at("status") == status) << pair;
    if (pair.at("status") == "ready" && !time.empty()) {
      EXPECT_EQ(pair.at("data").at("takenTime"), std::stod(time)) << pair;
    }
    ++checked;
  }
  EXPECT_EQ(checked, pairs.size());
  EXPECT_EQ(report.at("orphanJSONCount"), 0);

  const auto written = CommandLine().run({"write", tree.string(), "--quiet"});
  EXPECT_TRUE(written.status == 0 || written.status == 1) << written.errors;
}

}  // namespace
}  // namespace tollbrook::test
