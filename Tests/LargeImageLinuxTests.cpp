#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include "Support/Program.h"
#include "Support/TemporaryFolder.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/MetadataWriter.h"

namespace tollbrook {
namespace {

using ImageMetadata::TiffType;
using test::BlockEntry;
namespace TiffTag = ImageMetadata::TiffTag;

constexpr std::uint64_t size = 3000000000, roomNeeded = 8000000000;
constexpr long mostMemoryKibibytes = 32 << 10;

long peakMemoryKibibytes() {
  struct rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(LargeImage, IsWrittenInLittleMemory) {
  const test::TemporaryFolder folder;
  if (std::filesystem::space(folder.path()).available < roomNeeded) {
    GTEST_SKIP() << "there are less than 8 GB of free disk here: nothing was tested";
  }
  test::Block block;
  block.first = {BlockEntry::ofNumbers(TiffTag::stripOffsets, TiffType::longInteger, {4096}),
                 BlockEntry::ofNumbers(TiffTag::stripByteCounts, TiffType::longInteger, {size - 4096})};
  const auto file = folder / "scan.tif";
  test::writeFile(file, block.bytes());
  ASSERT_EQ(truncate(file.c_str(), static_cast<off_t>(size)), 0);

  // In a process of its own, since the memory of this one has had its peak.
  const int status = test::statusOfChild([&] {
    const SidecarData data{.takenTime = fromEpoch(1561982400)};
    const long before = peakMemoryKibibytes();
    const bool written = MetadataWriter::writeWithImageIO(file, data, "a caption");
    return !written ? 1 : peakMemoryKibibytes() - before > mostMemoryKibibytes ? 2 : 0;
  });
  EXPECT_EQ(status, 0) << "1: not written; 2: more than 32 MB of memory";
  EXPECT_GT(std::filesystem::file_size(file), size);
  EXPECT_LT(std::filesystem::file_size(file), size + 2000);
}

}  // namespace
}  // namespace tollbrook
