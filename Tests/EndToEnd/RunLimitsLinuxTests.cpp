#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include "Support/Instrumented.h"
#include "Support/SafetyTest.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

/// Tens of thousands of files would keep a disk busy for minutes; in memory they are there at once.
std::filesystem::path fastFolder() {
  const std::filesystem::path memory = "/dev/shm";
  return access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
}

/// The most memory that the process ever had, in bytes; 0 when it is gone.
std::size_t peakMemory(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string word;
  while (status >> word) {
    std::size_t kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

std::size_t openDescriptors(pid_t process) {
  std::error_code gone;
  std::size_t count = 0;
  for (std::filesystem::directory_iterator entry("/proc/" + std::to_string(process) + "/fd", gone);
       !gone && entry != std::filesystem::directory_iterator(); entry.increment(gone)) {
    ++count;
  }
  return count;
}

class RunLimitsTest : public SafetyTest {
 protected:
  RunLimitsTest() : SafetyTest(fastFolder()) {}

  struct Measured {
    Program::Result result;
    std::size_t peakMemory = 0;
    std::size_t mostDescriptors = 0;
  };

  /// Runs and looks all the time.
  Measured measure(const std::vector<std::string>& arguments) const {
    Measured measured;
    Program program(command(arguments));
    while (program.isRunning()) {
      measured.peakMemory = std::max(measured.peakMemory, peakMemory(program.process()));
      measured.mostDescriptors = std::max(measured.mostDescriptors, openDescriptors(program.process()));
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    measured.result = program.wait();
    EXPECT_EQ(measured.result.status, 0) << measured.result.errors;
    return measured;
  }

  /// So many stubs with sidecars in folders of a hundred.
  std::filesystem::path makeTree(const std::string& name, int count) const {
    const auto tree = *this / name;
    for (int i = 0; i < count; ++i) {
      writePair(tree / ("Album " + std::to_string(i / 100)) / ("IMG_" + std::to_string(i) + ".jpg"), "");
    }
    return tree;
  }
};

TEST_F(RunLimitsTest, MemoryDoesNotGrowWithTheTreeBeyondTheFinishedSet) {
  if (isInstrumented) GTEST_SKIP() << "a sanitizer keeps freed memory: nothing was tested here";
  const auto small = makeTree("small", 2'000);
  const auto large = makeTree("large", 40'000);
  constexpr std::size_t slack = 4 << 20;
  const auto difference = [](const Measured& a, const Measured& b) {
    return b.peakMemory - std::min(a.peakMemory, b.peakMemory);
  };

  const auto smallScan = measure({"scan", small, "--limit", "0", "--json"});
  const auto largeScan = measure({"scan", large, "--limit", "0", "--json"});
  EXPECT_EQ(nlohmann::json::parse(largeScan.result.output)["matchedCount"], 40'000);
  EXPECT_GT(smallScan.peakMemory, 1u << 20) << "nothing was measured";
  EXPECT_LT(difference(smallScan, largeScan), slack);

  const auto smallRun = measure({"write", small, "--no-embedded", "--quiet"});
  const auto largeRun = measure({"write", large, "--no-embedded", "--quiet"});
  const std::string log = readFile(job(large) / "done.log");
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 40'001);
  // The set holds each path once, and grows by doubling.
  EXPECT_LT(difference(smallRun, largeRun), 2 * log.size() + slack);
  RecordProperty("scan", std::to_string(difference(smallScan, largeScan)));
  RecordProperty("run", std::to_string(difference(smallRun, largeRun)));

  // Another run reads the finished set and writes nothing.
  const auto smallAgain = measure({"write", small, "--no-embedded", "--quiet"});
  const auto largeAgain = measure({"write", large, "--no-embedded", "--quiet"});
  EXPECT_LT(difference(smallAgain, largeAgain), 2 * log.size() + slack);
}

TEST_F(RunLimitsTest, NoDescriptorIsLeftOpenPerFileOrFolder) {
  constexpr std::size_t most = 24;
  makeTree("wide", 5'000);
  std::filesystem::path deep = *this / "deep";
  for (int level = 0; level < 200; ++level) {
    deep /= "d" + std::to_string(level);
    writePair(deep / "IMG.jpg", "");
  }
  const auto scan = measure({"scan", root(), "--limit", "0"});
  EXPECT_GT(scan.mostDescriptors, 3u);
  EXPECT_LE(scan.mostDescriptors, most);
  EXPECT_LE(measure({"write", root(), "--no-embedded", "--quiet"}).mostDescriptors, most);
  EXPECT_EQ(finished().size(), 5'200u);
}

TEST_F(RunLimitsTest, NoDescriptorIsLeftOpenPerEmbeddedWrite) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  std::vector<Photo> photos;
  for (int i = 0; i < 60; ++i) photos.push_back(addPhoto("IMG_" + std::to_string(i) + ".jpg"));
  for (int i = 0; i < 10; ++i) photos.push_back(addPhoto("line\nfeed " + std::to_string(i) + ".jpg"));
  const auto measured = measure({"write", root(), "--quiet"});
  EXPECT_GT(measured.mostDescriptors, 3u);
  EXPECT_LE(measured.mostDescriptors, 24u);
  expectAllRestored(photos);
}

}  // namespace
}  // namespace tollbrook::test
