#include <gtest/gtest.h>

#include <vector>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/Summaries.h"
#include "TollbrookCore/Summary.h"

namespace tollbrook {
namespace {

MediaPair pairOf(const char* media) {
  return {media, std::nullopt, MediaKind::image, std::nullopt, PairStatus::unmatched, std::nullopt};
}

TEST(SummariesTest, SayOfAScanWhatTheEngineSays) {
  const std::vector<ScanReport> reports{
      {},
      {.mediaCount = 1, .matchedCount = 0, .unmatchedCount = 1},
      {.mediaCount = 4830, .matchedCount = 4812, .unmatchedCount = 18},
      {.pairs = {pairOf("a.jpg"), pairOf("b.jpg")}, .mediaCount = 4001, .listCapped = true}};
  for (const ScanReport& report : reports) {
    EXPECT_EQ(Summaries::of(report), QString::fromStdString(summarize(report)));
  }
}

TEST(SummariesTest, SayOfARunWhatTheEngineSays) {
  const std::vector<RestoreOutcome> outcomes{{},
                                             {.datesSet = 1, .cancelled = true},
                                             {.datesSet = 4812},
                                             {.embeddedWritten = 2, .failed = 3},
                                             {.attempted = 21,
                                              .datesSet = 1,
                                              .embeddedWritten = 2,
                                              .skipped = 3,
                                              .deletedSidecars = 4,
                                              .alreadyDone = 5,
                                              .failed = 6}};
  for (const RestoreOutcome& outcome : outcomes) {
    EXPECT_EQ(Summaries::of(outcome), QString::fromStdString(summarize(outcome)));
  }
}

}  // namespace
}  // namespace tollbrook
