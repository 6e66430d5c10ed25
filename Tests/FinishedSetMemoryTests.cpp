#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "Support/JobStore.h"
#include "TollbrookCore/FinishedSet.h"

namespace {

// Every allocation of this program is counted, so that tests can bound memory by bytes and not by what the
// system happens to hold.
std::size_t allocated = 0;
std::size_t mostAllocated = 0;
constexpr std::size_t header = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

}  // namespace

void* operator new(std::size_t size) {
  auto* block = static_cast<char*>(std::malloc(size + header));
  if (block == nullptr) throw std::bad_alloc();
  *reinterpret_cast<std::size_t*>(block) = size;
  allocated += size;
  mostAllocated = std::max(mostAllocated, allocated);
  return block + header;
}

void operator delete(void* pointer) noexcept {
  if (pointer == nullptr) return;
  char* block = static_cast<char*>(pointer) - header;
  allocated -= *reinterpret_cast<std::size_t*>(block);
  std::free(block);
}

void operator delete(void* pointer, std::size_t) noexcept { operator delete(pointer); }

// The standard library's own forms of these lead here, but a sanitizer's would not.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return operator new(size); }
void operator delete(void* pointer, const std::nothrow_t&) noexcept { operator delete(pointer); }

namespace tollbrook {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr int count = 1'000'000;
// The bytes of a million lines are 33.4 MiB, the table is 8 MiB.
constexpr std::size_t allowed = 43 * mebibyte;

/// A path of 34 bytes, about as long as they are in an export.
std::string numberedPath(int number) {
  std::string digits = std::to_string(number);
  return "Photos from 2015/IMG_" + std::string(9 - digits.size(), '0') + digits + ".jpg";
}

std::string millionLines() {
  std::string log = "v1\n";
  log.reserve(log.size() + count * (numberedPath(0).size() + 1));
  for (int i = 0; i < count; ++i) log += numberedPath(i) + '\n';
  return log;
}

int foundOf(const FinishedSet& set, int first, int end) {
  int found = 0;
  for (int i = first; i < end; ++i) found += set.contains(numberedPath(i)) ? 1 : 0;
  return found;
}

TEST(FinishedSetMemory, OfAMillionLoadedLinesIsLittleMoreThanTheirBytes) {
  std::string log = millionLines();
  const std::size_t before = allocated - log.size();
  mostAllocated = allocated;
  const FinishedSet set(std::move(log));
  EXPECT_LE(mostAllocated - before, allowed) << "while loading";
  EXPECT_EQ(set.size(), static_cast<std::size_t>(count));
  EXPECT_EQ(foundOf(set, 0, count), count);
  EXPECT_EQ(foundOf(set, count, count + 1000), 0);
}

TEST(FinishedSetMemory, ALookUpTakesNone) {
  FinishedSet set("v1\na.jpg\n");
  set.insert("b.jpg");
  const std::string longPath(200, 'x');
  mostAllocated = allocated;
  EXPECT_TRUE(set.contains("a.jpg") && set.contains("b.jpg") && !set.contains(longPath));
  EXPECT_EQ(mostAllocated, allocated);
}

TEST(FinishedSetMemory, OfALogThatIsNotUtf8IsGivenBack) {
  const std::size_t before = allocated;
  std::string log = millionLines() + "\xff\n";
  const FinishedSet set(std::move(log));
  EXPECT_LE(allocated - before, mebibyte);
}

TEST(FinishedSetMemory, OfAMillionAddedPathsIsLittleMoreThanTheirBytes) {
  const std::size_t before = allocated;
  mostAllocated = allocated;
  FinishedSet set("v1\n");
  for (int i = 0; i < count; ++i) set.insert(numberedPath(i));
  EXPECT_LE(mostAllocated - before, allowed) << "while growing";
  EXPECT_EQ(set.size(), static_cast<std::size_t>(count));
  EXPECT_EQ(foundOf(set, 0, count), count);
}

using JobMemory = test::JobStoreTest;

TEST_F(JobMemory, OfAMillionFinishedFilesHoldsTheirListOnce) {
  open();
  test::writeFile(list(), millionLines());
  const std::size_t before = allocated;

  mostAllocated = allocated;
  EXPECT_EQ(open()->doneCount(), static_cast<std::size_t>(count));
  EXPECT_LE(mostAllocated - before, allowed) << "while opening";

  mostAllocated = allocated;
  EXPECT_EQ(JobJournal::claimUnfinished()->doneCount(), static_cast<std::size_t>(count));
  EXPECT_LE(mostAllocated - before, allowed) << "while claiming";

  mostAllocated = allocated;
  EXPECT_TRUE(JobJournal::unfinishedToResume()->lockForRun());
  EXPECT_LE(mostAllocated - before, allowed) << "while locking a listed job";

  mostAllocated = allocated;
  EXPECT_EQ(JobJournal::allJobs()[0].doneCount, static_cast<std::size_t>(count));
  EXPECT_LE(mostAllocated - before, allowed) << "while listing";
  EXPECT_LE(allocated - before, mebibyte) << "kept afterwards";
}

}  // namespace
}  // namespace tollbrook
