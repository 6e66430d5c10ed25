#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <chrono>
#include <future>

#include "Desktop/Support/AppTest.h"
#include "Support/TemporaryFolder.h"
#include "Tollbrook/SingleInstance.h"

namespace tollbrook {
namespace {

using Answer = SingleInstance::Answer;
using Folder = std::optional<std::filesystem::path>;

class SingleInstanceTest : public testing::Test {
 protected:
  // Asks as another program does, while this one's event loop turns.
  std::optional<Answer> handOver(SingleInstance& instance, const Folder& folder) {
    auto answer = std::async(std::launch::async, [&] { return instance.handOver(folder); });
    EXPECT_TRUE(test::waitUntil(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return answer.get();
  }

  static std::filesystem::path socketBelow(const std::filesystem::path& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.is_socket()) return entry.path();
    }
    return {};
  }

  const test::TemporaryFolder runtime_;
  const std::filesystem::path store_ = "/home/user/.local/share/Tollbrook/jobs";
};

TEST_F(SingleInstanceTest, IsFirstWhileThereIsNoOther) {
  const SingleInstance instance(store_, runtime_.path());
  EXPECT_TRUE(instance.isFirst());
}

TEST_F(SingleInstanceTest, IsOnePerJobStore) {
  const SingleInstance first(store_, runtime_.path());
  EXPECT_FALSE(SingleInstance(store_, runtime_.path()).isFirst());
  EXPECT_TRUE(SingleInstance("/home/user/elsewhere/jobs", runtime_.path()).isFirst());
}

TEST_F(SingleInstanceTest, MakesWayWhenItEnds) {
  { const SingleInstance first(store_, runtime_.path()); }
  EXPECT_TRUE(SingleInstance(store_, runtime_.path()).isFirst());
}

// The name of a socket has about a hundred bytes.
TEST_F(SingleInstanceTest, MakesWayWhereItCannotListen) {
  const std::filesystem::path deep = runtime_.path() / std::string(200, 'd');
  std::filesystem::create_directory(deep);
  SingleInstance first(store_, deep);
  ASSERT_FALSE(SingleInstance(store_, deep).isFirst());
  first.listen([](const Folder&) { return Answer::raised; });
  EXPECT_TRUE(SingleInstance(store_, deep).isFirst());
}

TEST_F(SingleInstanceTest, IsFirstAndLeavesNothingWhereTheSessionHasNoFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(runtime_.path());
  SingleInstance first(store_, "");
  first.listen([](const Folder&) { return Answer::raised; });
  EXPECT_TRUE(first.isFirst());
  EXPECT_TRUE(SingleInstance(store_, "").isFirst());
  EXPECT_TRUE(std::filesystem::is_empty(runtime_.path()));
  std::filesystem::current_path(before);
}

TEST_F(SingleInstanceTest, HandsOverTheFolderAndReturnsTheAnswer) {
  SingleInstance first(store_, runtime_.path());
  std::vector<Folder> received;
  first.listen([&](const Folder& folder) {
    received.push_back(folder);
    return received.size() == 1 ? Answer::opened : Answer::busy;
  });
  SingleInstance second(store_, runtime_.path());
  const std::filesystem::path odd = "/photos/line\nfeed caf\xe9";
  EXPECT_EQ(handOver(second, odd), Answer::opened);
  EXPECT_EQ(handOver(second, "/photos"), Answer::busy);
  EXPECT_THAT(received, testing::ElementsAre(odd, "/photos"));
}

TEST_F(SingleInstanceTest, HandsOverNoFolder) {
  SingleInstance first(store_, runtime_.path());
  std::vector<Folder> received;
  first.listen([&](const Folder& folder) {
    received.push_back(folder);
    return Answer::raised;
  });
  SingleInstance second(store_, runtime_.path());
  EXPECT_EQ(handOver(second, std::nullopt), Answer::raised);
  EXPECT_THAT(received, testing::ElementsAre(std::nullopt));
}

TEST_F(SingleInstanceTest, WaitsForAFirstThatDoesNotListenYet) {
  SingleInstance first(store_, runtime_.path());
  SingleInstance second(store_, runtime_.path());
  auto answer = std::async(std::launch::async, [&] { return second.handOver("/photos"); });
  EXPECT_EQ(answer.wait_for(std::chrono::milliseconds(150)), std::future_status::timeout);
  first.listen([](const Folder&) { return Answer::opened; });
  EXPECT_TRUE(
      test::waitUntil([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_EQ(answer.get(), Answer::opened);
}

TEST_F(SingleInstanceTest, WaitsNoLongerThanAllowedForAFirstThatHangs) {
  const SingleInstance first(store_, runtime_.path());
  SingleInstance second(store_, runtime_.path());
  EXPECT_EQ(second.handOver("/photos", {.answer = std::chrono::milliseconds(50)}), std::nullopt);
  EXPECT_FALSE(second.isFirst());
}

TEST_F(SingleInstanceTest, TakesThePlaceOfOneThatClosesOnceThatHasEnded) {
  auto first = std::make_unique<SingleInstance>(store_, runtime_.path());
  int asked = 0;
  first->listen([&](const Folder&) {
    ++asked;
    return Answer::closing;
  });
  SingleInstance second(store_, runtime_.path());
  constexpr std::chrono::seconds patience(1);
  auto answer =
      std::async(std::launch::async, [&] { return second.handOver("/photos", {.answer = patience}); });
  // It is given more time than one that says nothing.
  const QDeadlineTimer later(patience + patience / 2);
  EXPECT_TRUE(test::waitUntil([&] { return asked > 1 && later.hasExpired(); }));
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  first.reset();
  EXPECT_EQ(answer.get(), std::nullopt);
  EXPECT_TRUE(second.isFirst());
}

TEST_F(SingleInstanceTest, WaitsNoLongerThanAllowedForOneThatCloses) {
  SingleInstance first(store_, runtime_.path());
  first.listen([&](const Folder&) { return Answer::closing; });
  SingleInstance second(store_, runtime_.path());
  auto answer = std::async(std::launch::async, [&] {
    return second.handOver("/photos", {.closing = std::chrono::milliseconds(50)});
  });
  EXPECT_TRUE(
      test::waitUntil([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_EQ(answer.get(), std::nullopt);
  EXPECT_FALSE(second.isFirst());
}

TEST_F(SingleInstanceTest, TakesThePlaceOfOneThatEndsInsteadOfAnswering) {
  auto first = std::make_unique<SingleInstance>(store_, runtime_.path());
  first->listen([](const Folder&) { return Answer::raised; });
  SingleInstance second(store_, runtime_.path());
  // Its event loop does not turn any more.
  auto answer = std::async(std::launch::async, [&] { return second.handOver("/photos"); });
  EXPECT_EQ(answer.wait_for(std::chrono::milliseconds(150)), std::future_status::timeout);
  first.reset();
  EXPECT_EQ(answer.get(), std::nullopt);
  EXPECT_TRUE(second.isFirst());
}

TEST_F(SingleInstanceTest, ListensInPlaceOfOneThatWasKilled) {
  auto killed = std::make_unique<SingleInstance>(store_, runtime_.path());
  killed->listen([](const Folder&) { return Answer::raised; });
  const auto socket = socketBelow(runtime_.path());
  // A second name keeps the socket when the first end removes it, as nobody does for a killed program.
  std::filesystem::create_hard_link(socket, runtime_ / "kept");
  killed.reset();
  std::filesystem::rename(runtime_ / "kept", socket);

  SingleInstance next(store_, runtime_.path());
  ASSERT_TRUE(next.isFirst());
  next.listen([](const Folder&) { return Answer::opened; });
  SingleInstance second(store_, runtime_.path());
  EXPECT_EQ(handOver(second, "/photos"), Answer::opened);
}

}  // namespace
}  // namespace tollbrook
