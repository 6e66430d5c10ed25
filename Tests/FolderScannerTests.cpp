#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Sidecars.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/FolderScanner.h"
#include "TollbrookCore/FolderWalker.h"

namespace tollbrook::FolderScanner {
namespace {

using std::filesystem::path;
using test::sidecarJson;
using test::TemporaryFolder;
using test::writeFile;
using test::writePair;
using testing::ElementsAre;

const auto never = [] { return false; };

ScanReport scanned(const path& folder, std::int64_t cap = previewLimit) {
  return scan(folder, true, cap, never);
}

std::vector<std::string> namesIn(const ScanReport& report) {
  std::vector<std::string> names;
  for (const MediaPair& pair : report.pairs) names.push_back(pair.media.filename());
  return names;
}

std::vector<std::int64_t> progressOver(int photos) {
  const TemporaryFolder folder;
  for (int i = 0; i < photos; ++i) writeFile(folder / (std::to_string(i) + ".jpg"), "");
  std::vector<std::int64_t> calls;
  scan(folder.path(), true, 10, never, [&](std::int64_t count) { calls.push_back(count); });
  return calls;
}

TEST(FolderScanner, PairsAPhotoWithItsSidecarAndReadsIt) {
  const TemporaryFolder folder;
  writePair(folder / "sub/IMG_1.HEIC", "x", {.latitude = 48.1, .longitude = 11.5, .caption = "hello"});
  const ScanReport report = scanned(folder.path());
  EXPECT_EQ(report.mediaCount, 1);
  EXPECT_EQ(report.matchedCount, 1);
  EXPECT_EQ(report.unmatchedCount, 0);
  EXPECT_EQ(report.parseErrorCount, 0);
  EXPECT_EQ(report.orphanJSONCount, 0);
  EXPECT_FALSE(report.listCapped);
  ASSERT_EQ(report.pairs.size(), 1u);
  const MediaPair& pair = report.pairs.front();
  EXPECT_EQ(pair.media, folder / "sub/IMG_1.HEIC");
  EXPECT_EQ(pair.id, pair.media.native());
  EXPECT_EQ(pair.sidecar, folder / "sub/IMG_1.HEIC.supplemental-metadata.json");
  EXPECT_EQ(pair.kind, MediaKind::image);
  EXPECT_TRUE(pair.isReady());
  EXPECT_EQ(pair.message, std::nullopt);
  EXPECT_EQ(pair.data->takenTime, fromEpoch(1425445567));
  EXPECT_EQ(pair.data->latitude, 48.1);
  EXPECT_EQ(pair.data->caption, "hello");
}

TEST(FolderScanner, ReportsAPhotoWithoutSidecarAsUnmatched) {
  const TemporaryFolder folder;
  writeFile(folder / "clip.mov", "x");
  const ScanReport report = scanned(folder.path());
  ASSERT_EQ(report.pairs.size(), 1u);
  EXPECT_EQ(report.pairs[0], MediaPair(folder / "clip.mov", std::nullopt, MediaKind::video, std::nullopt,
                                       PairStatus::unmatched, std::nullopt));
  EXPECT_EQ(report.unmatchedCount, 1);
  EXPECT_EQ(report.parseErrorCount, 0);
}

TEST(FolderScanner, SaysOfASidecarWithNothingUsableThatItCouldNotBeRead) {
  const TemporaryFolder folder;
  writePair(folder / "title.jpg", "x", {.takenTime = std::nullopt, .title = "title.jpg"});
  writeFile(folder / "broken.jpg", "x");
  writeFile(folder / "broken.jpg.json", "{");
  const ScanReport report = scanned(folder.path());
  ASSERT_EQ(report.pairs.size(), 2u);
  for (const MediaPair& pair : report.pairs) {
    EXPECT_EQ(pair.status, PairStatus::unmatched);
    EXPECT_EQ(pair.message, "Sidecar JSON could not be read");
    EXPECT_TRUE(pair.sidecar);
    EXPECT_EQ(pair.data, std::nullopt);
  }
  EXPECT_EQ(report.parseErrorCount, 2);
  EXPECT_EQ(report.unmatchedCount, 2);
  EXPECT_EQ(report.orphanJSONCount, 0);
}

TEST(FolderScanner, CapsTheListAndLeavesItInWalkOrder) {
  const TemporaryFolder folder;
  for (int i = 0; i < 4001; ++i) writeFile(folder / ("p" + std::to_string(i) + ".jpg"), "");
  std::vector<std::string> walkOrder;
  FolderWalker::forEachMedia(
      folder.path(), true, never,
      [&](const path& media, const std::vector<std::string>&) { walkOrder.push_back(media.filename()); });
  const ScanReport report = scanned(folder.path());
  EXPECT_EQ(report.mediaCount, 4001);
  EXPECT_EQ(report.unmatchedCount, 4001);
  EXPECT_TRUE(report.listCapped);
  walkOrder.pop_back();
  EXPECT_EQ(namesIn(report), walkOrder);
}

TEST(FolderScanner, ACappedListGoesDownWhereTheFolderStandsInItsDirectory) {
  const TemporaryFolder folder;
  for (int i = 0; i < 40; ++i) {
    const std::string number = std::to_string(i);
    writeFile(folder / ("p" + number + ".jpg"), "");
    writeFile(folder / ("sub" + number) / "q.jpg", "");
  }
  std::vector<std::string> expected;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    expected.push_back(entry.is_directory() ? entry.path() / "q.jpg" : entry.path());
  }
  expected.resize(50);
  const ScanReport report = scanned(folder.path(), 50);
  EXPECT_TRUE(report.listCapped);
  std::vector<std::string> listed;
  for (const MediaPair& pair : report.pairs) listed.push_back(pair.media);
  EXPECT_EQ(listed, expected);
}

TEST(FolderScanner, AFullListThatMissesNobodyIsNotCapped) {
  const TemporaryFolder folder;
  for (const char* name : {"a.jpg", "b.jpg"}) writeFile(folder / name, "");
  EXPECT_FALSE(scanned(folder.path(), 2).listCapped);
  EXPECT_TRUE(scanned(folder.path(), 1).listCapped);
  const ScanReport countsOnly = scanned(folder.path(), 0);
  EXPECT_TRUE(countsOnly.listCapped);
  EXPECT_TRUE(countsOnly.pairs.empty());
  EXPECT_EQ(countsOnly.mediaCount, 2);
}

TEST(FolderScanner, SortsByNameAsAFileBrowserDoes) {
  const TemporaryFolder folder;
  for (const char* name : {"z/IMG_2.jpg", "a/IMG_10.jpg", "img_1.jpg", "a/éa.jpg", "b/f.jpg", "c/E.jpg"}) {
    writeFile(folder / name, "");
  }
  EXPECT_THAT(namesIn(scanned(folder.path())),
              ElementsAre("E.jpg", "éa.jpg", "f.jpg", "img_1.jpg", "IMG_2.jpg", "IMG_10.jpg"));
}

TEST(FolderScanner, KeepsEqualNamesInWalkOrder) {
  const TemporaryFolder folder;
  for (int i = 0; i < 30; ++i) {
    writeFile(folder / ("f" + std::to_string(i * 11 % 30)) / (i % 2 == 0 ? "same.jpg" : "SAME.jpg"), "");
  }
  std::vector<path> walkOrder;
  FolderWalker::forEachMedia(
      folder.path(), true, never,
      [&](const path& media, const std::vector<std::string>&) { walkOrder.push_back(media); });
  std::vector<path> sorted;
  for (const MediaPair& pair : scanned(folder.path()).pairs) sorted.push_back(pair.media);
  EXPECT_EQ(sorted, walkOrder);
}

TEST(FolderScanner, ReportsProgressEveryTwentyFiveFilesAndAtTheEnd) {
  EXPECT_THAT(progressOver(0), ElementsAre(0));
  EXPECT_THAT(progressOver(24), ElementsAre(24));
  EXPECT_THAT(progressOver(50), ElementsAre(25, 50, 50));
}

TEST(FolderScanner, CountsAsLeftOverOnlyJsonBesideMedia) {
  const TemporaryFolder folder;
  writePair(folder / "a.jpg", "x");
  writeFile(folder / "stray.json", "{}");
  writeFile(folder / ".hidden.json", "{}");
  writeFile(folder / "json only/one.json", "{}");
  EXPECT_EQ(scanned(folder.path()).orphanJSONCount, 2);
}

TEST(FolderScanner, CountsASharedSidecarOnce) {
  const TemporaryFolder folder;
  writePair(folder / "a.jpg", "x");
  writeFile(folder / "a-edited.jpg", "x");
  writeFile(folder / "stray.json", "{}");
  const ScanReport report = scanned(folder.path());
  EXPECT_EQ(report.matchedCount, 2);
  EXPECT_EQ(report.orphanJSONCount, 1);
}

TEST(FolderScanner, CancelledAtOnceReportsNothing) {
  const TemporaryFolder folder;
  writePair(folder / "a.jpg", "x");
  std::vector<std::int64_t> calls;
  const ScanReport report = scan(
      folder.path(), true, previewLimit, [] { return true; },
      [&](std::int64_t count) { calls.push_back(count); });
  EXPECT_EQ(report, ScanReport{});
  EXPECT_THAT(calls, ElementsAre(0));
}

TEST(FolderScanner, CancelledMidwayReportsWhatItSaw) {
  const TemporaryFolder folder;
  for (int i = 0; i < 20; ++i) writeFile(folder / (std::to_string(i) + ".jpg"), "");
  int asked = 0;
  const ScanReport report = scan(folder.path(), true, previewLimit, [&] { return ++asked > 5; });
  EXPECT_EQ(report.mediaCount, 5);
  EXPECT_EQ(report.pairs.size(), 5u);
  EXPECT_TRUE(
      std::is_sorted(report.pairs.begin(), report.pairs.end(), [](const MediaPair& a, const MediaPair& b) {
        return std::stoi(a.media.filename()) < std::stoi(b.media.filename());
      }));
}

TEST(FolderScanner, OfAMissingFolderIsEmpty) { EXPECT_EQ(scanned("/nowhere/at/all"), ScanReport{}); }

}  // namespace
}  // namespace tollbrook::FolderScanner
