#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "Support/Fixtures.h"
#include "Support/HeifMaker.h"
#include "Support/Instrumented.h"
#include "Support/Program.h"
#include "Support/TemporaryFolder.h"
#include "Support/TiffBlock.h"
#include "TollbrookCore/ImageMetadata/PngChunks.h"
#include "TollbrookCore/ImageMetadata/PngText.h"
#include "TollbrookCore/MetadataWriter.h"

namespace tollbrook {
namespace {

using ImageMetadata::TiffType;
using test::BlockEntry;
namespace TiffTag = ImageMetadata::TiffTag;

constexpr std::uint64_t size = 3000000000, roomNeeded = 8000000000;
constexpr long mostMemoryKibibytes = 32 << 10;
// What the tables of the largest grid of tiles take.
constexpr long mostMemoryOfTablesKibibytes = 96 << 10;
// A sanitizer puts room around each of many small pieces, and keeps what was freed.
constexpr long watching = test::isInstrumented ? 8 : 1;

long peakMemoryKibibytes() {
  struct rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

enum Outcome { written, refused, tookTooMuchMemory };

/// Makes the file, and then writes into it; each in a process of its own, since the memory of this one has
/// had its peak.
Outcome outcomeOf(const std::filesystem::path& file, const std::function<void()>& make,
                  long mostKibibytes = mostMemoryKibibytes) {
  EXPECT_EQ(test::statusOfChild([&] {
              make();
              return 0;
            }),
            0);
  return static_cast<Outcome>(test::statusOfChild([&] {
    const SidecarData data{.takenTime = fromEpoch(1561982400)};
    const long before = peakMemoryKibibytes();
    const bool isWritten = MetadataWriter::writeWithImageIO(file, data, "a caption");
    if (peakMemoryKibibytes() - before > mostKibibytes) return tookTooMuchMemory;
    return isWritten ? written : refused;
  }));
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
  const auto make = [&] {
    test::writeFile(file, block.bytes());
    std::filesystem::resize_file(file, size);
  };
  EXPECT_EQ(outcomeOf(file, make), written);
  EXPECT_GT(std::filesystem::file_size(file), size);
  EXPECT_LT(std::filesystem::file_size(file), size + 2000);
}

/// A PNG file of a few kilobytes with a packet of so many empty elements.
std::string pngWithElements(std::size_t count) {
  using namespace ImageMetadata::Png;
  Text text;
  text.type = "iTXt";
  text.keyword = "XML:com.adobe.xmp";
  text.isCompressed = true;
  text.text = "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description>";
  for (std::size_t i = 0; i < count; ++i) text.text += "<a/>";
  text.text += "</rdf:Description></rdf:RDF>";
  constexpr std::size_t headerEnd = 33;
  return test::tinyPng().insert(headerEnd, chunk("iTXt", text.content()));
}

TEST(HostileImage, FillsNoMemoryWithElementsOfXmp) {
  const test::TemporaryFolder folder;
  const auto file = folder / "screenshot.png";
  const auto outcome = [&](std::size_t count) {
    return outcomeOf(
        file, [&] { test::writeFile(file, pngWithElements(count)); }, watching * mostMemoryKibibytes);
  };
  EXPECT_EQ(outcome(100000), written);
  EXPECT_EQ(outcome(1500000), refused);
  EXPECT_EQ(outcome(8000000), refused);
}

/// The largest grid of tiles that narrow tables can count.
test::HeifShape largestGrid() {
  test::HeifShape shape;
  shape.items = {{.id = 1, .type = "grid", .data = "grid"}};
  shape.references = {{"dimg", 1, {}}};
  constexpr std::uint32_t last = 65000;
  for (std::uint32_t tile = 2; tile <= last; ++tile) {
    shape.items.push_back({.id = tile, .type = "hvc1", .data = "tile", .isHidden = true});
    shape.references.front().to.push_back(tile);
  }
  return shape;
}

TEST(HostileImage, FillsNoMemoryWithEntriesOfTables) {
  const test::TemporaryFolder folder;
  const auto file = folder / "photo.heic";
  const auto outcome = [&](const test::HeifShape& shape) {
    return outcomeOf(
        file, [&] { test::writeFile(file, test::makeHeif(shape)); }, watching * mostMemoryOfTablesKibibytes);
  };
  EXPECT_EQ(outcome(largestGrid()), written);
  for (const std::size_t count : {std::size_t{150000}, std::size_t{700000}}) {
    test::HeifShape groups, references;
    groups.groups.assign(count, {"altr", 7, {}});
    EXPECT_EQ(outcome(groups), refused) << count;
    references.references.assign(count, {"cdsc", 1, {}});
    EXPECT_EQ(outcome(references), refused) << count;
  }
}

}  // namespace
}  // namespace tollbrook
