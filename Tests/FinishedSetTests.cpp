#include <gtest/gtest.h>

#include <random>
#include <set>

#include "TollbrookCore/FinishedSet.h"

namespace tollbrook {
namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

std::set<std::string> entriesOf(const FinishedSet& set) {
  std::set<std::string> entries;
  set.forEach([&](std::string_view path) { EXPECT_TRUE(entries.emplace(path).second) << path; });
  EXPECT_EQ(entries.size(), set.size());
  for (const std::string& entry : entries) EXPECT_TRUE(set.contains(entry)) << entry;
  return entries;
}

using Entries = std::set<std::string>;

TEST(FinishedSet, StartsEmpty) {
  const FinishedSet set;
  EXPECT_EQ(set.size(), 0u);
  EXPECT_FALSE(set.contains("a"));
  EXPECT_FALSE(set.contains(""));
}

TEST(FinishedSet, OfAHeaderAloneIsEmpty) {
  EXPECT_EQ(entriesOf(FinishedSet("v1\n")), Entries{});
  EXPECT_EQ(entriesOf(FinishedSet("")), Entries{});
  EXPECT_EQ(entriesOf(FinishedSet("\n\n\n")), Entries{});
}

TEST(FinishedSet, DropsATornLastLine) {
  EXPECT_EQ(entriesOf(FinishedSet("v1\na\nb")), Entries{"a"});
  EXPECT_EQ(entriesOf(FinishedSet("a")), Entries{});
  EXPECT_EQ(entriesOf(FinishedSet("v1\nsub/IMG_1.jpg\nsub/IMG_1")), Entries{"sub/IMG_1.jpg"});
}

TEST(FinishedSet, DropsALineTornWithinACharacter) {
  EXPECT_EQ(entriesOf(FinishedSet("v1\na\nsub/\xc3")), Entries{"a"});
}

TEST(FinishedSet, PassesOverHeadersCommentsAndEmptyLinesAnywhere) {
  EXPECT_EQ(entriesOf(FinishedSet("#x\nv1\n\na\nv1\n# b\n\nb\n#\nv1\n")), (Entries{"a", "b"}));
}

TEST(FinishedSet, KeepsLinesThatOnlyLookLikeOthers) {
  EXPECT_EQ(entriesOf(FinishedSet("v1\nv1 \n #a\nv10\nV1\nb\r\n \n")),
            (Entries{"v1 ", " #a", "v10", "V1", "b\r", " "}));
}

TEST(FinishedSet, NeedsNoHeader) { EXPECT_EQ(entriesOf(FinishedSet("a\nb\n")), (Entries{"a", "b"})); }

TEST(FinishedSet, CountsARepeatedLineOnce) {
  EXPECT_EQ(entriesOf(FinishedSet("a\nb\na\n")), (Entries{"a", "b"}));
}

TEST(FinishedSet, OfALogThatIsNotUtf8IsEmptyAndTakesEntries) {
  FinishedSet set("v1\na\n\xff\nb\n");
  EXPECT_EQ(entriesOf(set), Entries{});
  EXPECT_TRUE(set.insert("a"));
  EXPECT_EQ(entriesOf(set), Entries{"a"});
}

TEST(FinishedSet, InsertTellsWhatIsNew) {
  FinishedSet set("v1\na\n");
  EXPECT_FALSE(set.insert("a"));
  EXPECT_TRUE(set.insert("b"));
  EXPECT_FALSE(set.insert("b"));
  EXPECT_EQ(entriesOf(set), (Entries{"a", "b"}));
}

TEST(FinishedSet, ComparesBytes) {
  FinishedSet set;
  set.insert("caf\xc3\xa9");
  EXPECT_FALSE(set.contains("cafe\xcc\x81"));
  EXPECT_FALSE(set.contains("CAF\xc3\xa9"));
  EXPECT_FALSE(set.contains("caf"));
  EXPECT_FALSE(set.contains("caf\xc3\xa9 "));
}

TEST(FinishedSet, HoldsPathsThatNoLineCanCarry) {
  FinishedSet set("v1\na\nb\n");
  EXPECT_FALSE(set.contains("a\nb")) << "found across two lines";
  const Entries odd{
      "a\nb", "\n", "", "v1", "#x", "\xff", std::string("nul\0nul", 7), std::string(3 * mebibyte, 'x')};
  for (const std::string& path : odd) EXPECT_TRUE(set.insert(path));
  for (const std::string& path : odd) EXPECT_FALSE(set.insert(path));
  Entries all = odd;
  all.insert({"a", "b"});
  EXPECT_EQ(entriesOf(set), all);
  EXPECT_FALSE(set.contains("b\n"));
  EXPECT_FALSE(set.contains("nul"));
}

TEST(FinishedSet, TellsWhatALineCanCarry) {
  for (const char* path : {"a", "sub/x.jpg", "v1 ", "v1/x", " #", "caf\xc3\xa9", "a\r", "/a"}) {
    EXPECT_TRUE(FinishedSet::isLine(path)) << path;
  }
  for (const char* path : {"", "v1", "#", "#1.jpg", "a\nb", "\n", "\xff", "a\xc3"}) {
    EXPECT_FALSE(FinishedSet::isLine(path)) << path;
  }
}

TEST(FinishedSet, FindsEntriesBeyondTheReachOfItsOffsets) {
  FinishedSet set("v1\naa\nbb\ncc\ndd\ncc\naa\n", 8);
  EXPECT_EQ(entriesOf(set), (Entries{"aa", "bb", "cc", "dd"}));
  EXPECT_TRUE(set.insert("ee"));
  EXPECT_FALSE(set.insert("ee"));
  EXPECT_FALSE(set.insert("dd"));
  EXPECT_EQ(entriesOf(set), (Entries{"aa", "bb", "cc", "dd", "ee"}));
}

TEST(FinishedSet, AgreesWithAnOrdinarySet) {
  std::mt19937 random(20240501);
  const auto randomPath = [&] {
    std::string path(random() % 6, '\0');
    for (char& c : path) c = "ab/v1#\n\xff"[random() % 8];
    return path;
  };
  for (int round = 0; round < 50; ++round) {
    std::string log;
    Entries expected;
    for (int i = 0; i < 200; ++i) {
      const std::string path = randomPath();
      if (!FinishedSet::isLine(path)) continue;
      log += path + '\n';
      expected.insert(path);
    }
    FinishedSet set(log + "torn", random() % 2 == 0 ? FinishedSet::farthestReach : random() % log.size());
    for (int i = 0; i < 2000; ++i) {
      const std::string path = randomPath();
      EXPECT_EQ(set.contains(path), expected.contains(path)) << path;
      if (i % 2 == 0) {
        EXPECT_EQ(set.insert(path), expected.insert(path).second) << path;
      }
    }
    EXPECT_EQ(entriesOf(set), expected);
  }
}

}  // namespace
}  // namespace tollbrook
