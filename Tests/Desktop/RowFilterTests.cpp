#include <gtest/gtest.h>

#include <vector>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/RowFilter.h"

namespace tollbrook {
namespace {

std::vector<PairStatus> shownBy(RowFilter filter) {
  std::vector<PairStatus> shown;
  for (const PairStatus status : test::everyStatus) {
    if (shows(filter, status)) shown.push_back(status);
  }
  return shown;
}

TEST(RowFilter, IsOfferedInThisOrderByTheseTexts) {
  std::vector<QString> texts;
  for (const RowFilter filter : rowFilters) {
    texts.push_back(rawValue(filter));
    EXPECT_EQ(label(filter), rawValue(filter));
  }
  EXPECT_EQ(texts, (std::vector<QString>{"All"_s, "Ready"_s, "No sidecar"_s, "Problems"_s}));
}

TEST(RowFilter, IsFoundByItsExactTextOnly) {
  for (const RowFilter filter : rowFilters) EXPECT_EQ(rowFilterFromRawValue(rawValue(filter)), filter);
  EXPECT_EQ(rowFilterFromRawValue("all"_s), std::nullopt);
  EXPECT_EQ(rowFilterFromRawValue(QString()), std::nullopt);
}

TEST(RowFilter, ShowsEveryPairForAll) {
  EXPECT_EQ(shownBy(RowFilter::all),
            std::vector<PairStatus>(test::everyStatus.begin(), test::everyStatus.end()));
}

TEST(RowFilter, CountsAFixedPairAsReady) {
  EXPECT_EQ(shownBy(RowFilter::ready), (std::vector{PairStatus::ready, PairStatus::fixed}));
}

TEST(RowFilter, ShowsPairsWithoutSidecarAmongTheProblemsToo) {
  EXPECT_EQ(shownBy(RowFilter::unmatched), std::vector{PairStatus::unmatched});
  EXPECT_EQ(shownBy(RowFilter::problems), (std::vector{PairStatus::unmatched, PairStatus::error}));
}

}  // namespace
}  // namespace tollbrook
