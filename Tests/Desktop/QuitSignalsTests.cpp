#include <gtest/gtest.h>

#include <QSignalSpy>
#include <csignal>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/QuitSignals.h"

namespace tollbrook {
namespace {

class QuitSignalsTest : public testing::TestWithParam<int> {};

TEST_P(QuitSignalsTest, TurnTheSignalIntoOneOfQt) {
  const QuitSignals signals;
  const QSignalSpy requests(&signals, &QuitSignals::quitRequested);
  std::raise(GetParam());
  EXPECT_TRUE(test::waitUntil([&] { return requests.count() == 1; }));
}

INSTANTIATE_TEST_SUITE_P(All, QuitSignalsTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST(QuitSignals, LeaveASignalIgnoredThatTheStarterIgnores) {
  std::signal(SIGHUP, SIG_IGN);
  {
    const QuitSignals signals;
    EXPECT_EQ(std::signal(SIGHUP, SIG_IGN), SIG_IGN);
  }
  EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

}  // namespace
}  // namespace tollbrook
