// Linked without any place to look for exiftool, as on a machine that has none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Support/Fixtures.h"
#include "Support/Sidecars.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/MetadataWriter.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook::MetadataWriter {
namespace {

using std::filesystem::path;
using test::TemporaryFolder;
using test::writeFile;
using testing::ElementsAre;
using testing::Pair;

const TimePoint taken = fromEpoch(1561982400);  // 2019-07-01 12:00:00 UTC

RestoreOptions datesOnly() {
  RestoreOptions options = defaultRestoreOptions();
  options.writeEmbedded = false;
  return options;
}

RestoreOptions embeddedOnly() {
  RestoreOptions options = defaultRestoreOptions();
  options.writeFileDates = false;
  return options;
}

SidecarData takenAt(TimePoint time) { return {.takenTime = time}; }

SidecarData captionOnly() { return {.caption = "a caption"}; }

void date(const path& file, double seconds) {
  ASSERT_FALSE(Platform::setFileDates(file, fromEpoch(seconds)));
}

TEST(Result, MapsToStatusAndMessage) {
  const Result both = Applied{.dates = true, .embedded = true};
  const Result dates = Applied{.dates = true, .embedded = false};
  const Result embedded = Applied{.dates = false, .embedded = true};
  EXPECT_EQ(status(both), PairStatus::fixed);
  EXPECT_EQ(message(both), "File dates and embedded metadata written");
  EXPECT_EQ(message(dates), "File dates written");
  EXPECT_EQ(message(embedded), "Embedded metadata written");
  EXPECT_EQ(status(Skipped{}), PairStatus::skipped);
  EXPECT_EQ(message(Skipped{}), "Dates already match");
  EXPECT_EQ(status(Failed{"why"}), PairStatus::error);
  EXPECT_EQ(message(Failed{"why"}), "why");
  EXPECT_EQ(both, Result(Applied{true, true}));
  EXPECT_NE(both, dates);
}

TEST(DatesMatch, WithinTheToleranceIncluded) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, "x");
  date(file, 1561982402);
  EXPECT_TRUE(datesMatch(file, taken, 2));
  EXPECT_FALSE(datesMatch(file, taken, 1.5));
  EXPECT_TRUE(datesMatch(file, fromEpoch(1561982404), 2));
  EXPECT_FALSE(datesMatch(folder / "missing.jpg", taken, 2));
}

TEST(DatesMatch, ByTheCreationDateAlone) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, "x");
  const auto created = Platform::fileDates(file).creation;
  if (!created) GTEST_SKIP() << "this file system keeps no creation date";
  date(file, 5e8);
  EXPECT_TRUE(datesMatch(file, *created, 2));
}

TEST(DatesMatch, NoDateThatIsNoNumber) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, "x");
  for (const double seconds : {std::nan(""), HUGE_VAL, 1e300}) {
    EXPECT_FALSE(datesMatch(file, fromEpoch(seconds), 2)) << seconds;
  }
}

TEST(Restore, OfNothingUsableDoesNotOpenTheFile) {
  EXPECT_EQ(restore("/nowhere/a.jpg", {.title = "a.jpg"}, defaultRestoreOptions()),
            Result(Failed{"Sidecar has no usable metadata"}));
}

TEST(Restore, SkipsAFileWhoseDatesMatch) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, "x");
  date(file, 1561982401);
  EXPECT_EQ(restore(file, takenAt(taken), defaultRestoreOptions()), Result(Skipped{}));
  RestoreOptions rewrite = datesOnly();
  rewrite.skipIfDatesMatch = false;
  EXPECT_EQ(restore(file, takenAt(taken), rewrite), Result(Applied{.dates = true, .embedded = false}));
}

TEST(Restore, SetsTheFileDates) {
  const TemporaryFolder folder;
  const path file = folder / "a.jpg";
  writeFile(file, "x");
  EXPECT_EQ(restore(file, takenAt(taken), datesOnly()), Result(Applied{.dates = true, .embedded = false}));
  EXPECT_EQ(Platform::fileDates(file).modification, taken);
  EXPECT_EQ(test::readFile(file), "x");
}

TEST(Restore, WithoutATakenTimeAsksNoSkipTest) {
  const TemporaryFolder folder;
  writeFile(folder / "a.mov", "x");
  EXPECT_EQ(restore(folder / "a.mov", captionOnly(), embeddedOnly()), Result(Failed{"Nothing was written"}));
  EXPECT_EQ(restore(folder / "a.mov", captionOnly(), datesOnly()), Result(Failed{"Nothing was written"}));
}

TEST(Restore, OfAVideoWithoutExifToolWritesNothingEmbedded) {
  ASSERT_FALSE(ExifTool::path());
  const TemporaryFolder folder;
  writeFile(folder / "a.mov", "x");
  EXPECT_EQ(restore(folder / "a.mov", takenAt(taken), embeddedOnly()), Result(Failed{"Nothing was written"}));
  EXPECT_EQ(restore(folder / "a.mov", takenAt(taken), defaultRestoreOptions()),
            Result(Applied{.dates = true, .embedded = false}));
}

TEST(Restore, WithEverythingOffWritesNothing) {
  const TemporaryFolder folder;
  writeFile(folder / "a.jpg", "x");
  RestoreOptions options = datesOnly();
  options.writeFileDates = false;
  EXPECT_EQ(restore(folder / "a.jpg", takenAt(taken), options), Result(Failed{"Nothing was written"}));
}

TEST(Restore, ReportsTheSystemsWordsWhenTheDatesCannotBeSet) {
  const TemporaryFolder folder;
  EXPECT_EQ(restore(folder / "missing.jpg", takenAt(taken), datesOnly()),
            Result(Failed{"Could not set file dates: No such file or directory"}));
  EXPECT_EQ(restore(folder / "missing/missing.jpg", takenAt(taken), datesOnly()),
            Result(Failed{"Could not set file dates: No such file or directory"}));
  EXPECT_EQ(restore(folder / "missing/missing.jpg", takenAt(taken), embeddedOnly()),
            Result(Failed{"Nothing was written"}));
}

TEST(Restore, WritesNoTimeThatNoReaderCouldTake) {
  const TemporaryFolder folder;
  const path file = folder / "a.mov";
  writeFile(file, "x");
  date(file, 1e9);
  for (const double seconds : {HUGE_VAL, -HUGE_VAL, std::nan(""), 1e300, 99999999999999.0}) {
    EXPECT_EQ(restore(file, takenAt(fromEpoch(seconds)), defaultRestoreOptions()),
              Result(Failed{"Nothing was written"}));
  }
  EXPECT_EQ(Platform::fileDates(file).modification, fromEpoch(1e9));
}

// A pair as a scan lists it.
MediaPair pairOf(const path& media, PairStatus status, std::optional<SidecarData> data) {
  return {media, test::sidecarOf(media), inferMediaKindFrom(media), std::move(data), status, std::nullopt};
}

TEST(RestoreTree, OfNothingDoesNothing) {
  int calls = 0;
  const auto [pairs, outcome] = restoreTree({}, datesOnly(), [&](std::int64_t, std::int64_t) { ++calls; });
  EXPECT_TRUE(pairs.empty());
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(outcome.attempted + outcome.datesSet + outcome.skipped + outcome.failed, 0);
}

TEST(RestoreTree, AttemptsReadyPairsInOrderAndLeavesTheOthersAsTheyAre) {
  const TemporaryFolder folder;
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg", "d.jpg"}) writeFile(folder / name, "x");
  const std::vector<MediaPair> pairs = {pairOf(folder / "a.jpg", PairStatus::ready, takenAt(taken)),
                                        pairOf(folder / "b.jpg", PairStatus::unmatched, std::nullopt),
                                        pairOf(folder / "c.jpg", PairStatus::ready, takenAt(taken)),
                                        pairOf(folder / "d.jpg", PairStatus::ready, SidecarData{})};
  std::vector<std::pair<std::int64_t, std::int64_t>> calls;
  const auto [result, outcome] = restoreTree(
      pairs, datesOnly(), [&](std::int64_t done, std::int64_t total) { calls.emplace_back(done, total); });
  EXPECT_THAT(calls, ElementsAre(Pair(1, 2), Pair(2, 2)));
  ASSERT_EQ(result.size(), 4u);
  EXPECT_EQ(result[0].status, PairStatus::fixed);
  EXPECT_EQ(result[0].message, "File dates written");
  EXPECT_EQ(result[1], pairs[1]);
  EXPECT_EQ(result[2].status, PairStatus::fixed);
  EXPECT_EQ(result[3], pairs[3]);
  EXPECT_EQ(outcome.attempted, 2);
  EXPECT_EQ(outcome.datesSet, 2);
  EXPECT_EQ(outcome.embeddedWritten, 0);
  EXPECT_EQ(outcome.alreadyDone, 0);
  EXPECT_FALSE(outcome.cancelled);
}

TEST(RestoreTree, DeletesSidecarsOnlyAfterAWriteThatAppliedSomething) {
  const TemporaryFolder folder;
  test::writePair(folder / "fixed.jpg", "x");
  test::writePair(folder / "skipped.jpg", "x");
  date(folder / "skipped.jpg", 1561982400);
  RestoreOptions options = datesOnly();
  options.deleteSidecars = true;
  const auto [result, outcome] =
      restoreTree({pairOf(folder / "fixed.jpg", PairStatus::ready, takenAt(taken)),
                   pairOf(folder / "skipped.jpg", PairStatus::ready, takenAt(taken)),
                   pairOf(folder / "gone.jpg", PairStatus::ready, takenAt(taken))},
                  options);
  EXPECT_FALSE(std::filesystem::exists(test::sidecarOf(folder / "fixed.jpg")));
  EXPECT_TRUE(std::filesystem::exists(test::sidecarOf(folder / "skipped.jpg")));
  EXPECT_EQ(outcome.deletedSidecars, 1);
  EXPECT_EQ(outcome.skipped, 1);
  EXPECT_EQ(result[1].message, "Dates already match");
}

TEST(RestoreTree, DeletesASharedSidecarWithTheLastPhotoThatNeedsIt) {
  const TemporaryFolder folder;
  test::writePair(folder / "a.jpg", "x");
  writeFile(folder / "a-edited.jpg", "x");
  MediaPair edited = pairOf(folder / "a-edited.jpg", PairStatus::ready, takenAt(taken));
  edited.sidecar = test::sidecarOf(folder / "a.jpg");
  MediaPair failing = edited;
  failing.media = folder / "missing.jpg";
  const MediaPair original = pairOf(folder / "a.jpg", PairStatus::ready, takenAt(taken));
  RestoreOptions options = datesOnly();
  options.deleteSidecars = true;
  EXPECT_EQ(restoreTree({original, failing}, options).second.deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(*edited.sidecar));
  options.skipIfDatesMatch = false;
  EXPECT_EQ(restoreTree({original, edited}, options).second.deletedSidecars, 1);
  EXPECT_FALSE(std::filesystem::exists(*edited.sidecar));
}

TEST(RestoreTree, KeepsASidecarThatCarriesWhatNobodyWrote) {
  const TemporaryFolder folder;
  test::writePair(folder / "a.mov", "x");
  RestoreOptions options = defaultRestoreOptions();
  options.deleteSidecars = true;
  const auto outcome =
      restoreTree({pairOf(folder / "a.mov", PairStatus::ready, takenAt(taken))}, options).second;
  EXPECT_EQ(outcome.datesSet, 1);
  EXPECT_EQ(outcome.deletedSidecars, 0);
  EXPECT_TRUE(std::filesystem::exists(test::sidecarOf(folder / "a.mov")));
}

TEST(RestoreTree, LeavesFailedAtZeroAndListsTheErrors) {
  const TemporaryFolder folder;
  for (const char* name : {"IMG_0001.MOV", "IMG_0002.MOV"}) writeFile(folder / name, "x");
  const auto [result, outcome] =
      restoreTree({pairOf(folder / "IMG_0001.MOV", PairStatus::ready, takenAt(taken)),
                   pairOf(folder / "IMG_0002.MOV", PairStatus::ready, takenAt(taken))},
                  embeddedOnly());
  EXPECT_THAT(outcome.errors,
              ElementsAre("IMG_0001.MOV: Nothing was written", "IMG_0002.MOV: Nothing was written"));
  EXPECT_EQ(outcome.failed, 0);
  EXPECT_EQ(result[0].status, PairStatus::error);
  EXPECT_EQ(result[0].message, "Nothing was written");
}

}  // namespace
}  // namespace tollbrook::MetadataWriter
