#include <gtest/gtest.h>

#include "TollbrookCore/Summary.h"

namespace tollbrook {
namespace {

TEST(ScanSummary, CountsFilesWithUsableSidecars) {
  ScanReport report;
  EXPECT_EQ(summarize(report), "No photos or videos in this folder.");
  report.mediaCount = 830;
  EXPECT_EQ(summarize(report), "0 of 830 files have sidecar metadata.");
  report.matchedCount = 812;
  EXPECT_EQ(summarize(report), "812 of 830 files have sidecar metadata.");
}

TEST(ScanSummary, SaysWhenTheListIsASample) {
  ScanReport report;
  report.mediaCount = 9120;
  report.matchedCount = 812;
  report.listCapped = true;
  report.pairs.assign(3, MediaPair("/a.jpg", std::nullopt, MediaKind::image, std::nullopt,
                                   PairStatus::unmatched, std::nullopt));
  EXPECT_EQ(summarize(report),
            "812 of 9120 files have sidecar metadata. Showing a sample of 3 — every nested folder is still "
            "included when writing.");
}

TEST(WriteSummary, JoinsTheCountsThatAreNotZero) {
  RestoreOutcome outcome;
  EXPECT_EQ(summarize(outcome), "Nothing changed.");
  outcome.attempted = 5;
  EXPECT_EQ(summarize(outcome), "Nothing changed.");
  outcome.datesSet = 812;
  outcome.embeddedWritten = 790;
  outcome.skipped = 3;
  outcome.failed = 2;
  EXPECT_EQ(summarize(outcome), "812 dated · 790 tagged · 3 already correct · 2 failed");
  outcome.alreadyDone = 7;
  outcome.deletedSidecars = 1;
  EXPECT_EQ(summarize(outcome),
            "812 dated · 790 tagged · 3 already correct · 7 already finished · 1 JSON removed · 2 failed");
}

TEST(WriteSummary, OfAStoppedRunHasNoCounts) {
  RestoreOutcome outcome;
  outcome.datesSet = 3;
  outcome.cancelled = true;
  EXPECT_EQ(summarize(outcome), "Stopped. Finished files are kept; reopen the app to continue the rest.");
}

}  // namespace
}  // namespace tollbrook
