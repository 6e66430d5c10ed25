// What the built-in image writer costs beside the least work that any careful replacement needs (a copy made
// by the system, forced to disk, renamed), and beside a session of exiftool on the same files.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Support/HeifMaker.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/MetadataWriter.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"

namespace tollbrook {
namespace {

using namespace std::string_literals;

std::string noise(std::size_t size, unsigned seed) {
  std::minstd_rand random(seed);
  std::string bytes;
  while (bytes.size() < size) bytes += static_cast<char>(random() % 255);
  return bytes;
}

// A JPEG as cameras make it, but for its coded picture, which nobody decodes here.
std::string jpeg(std::size_t size, unsigned seed) {
  const std::string maker = "A maker of cameras\0"s;
  std::string exif = "Exif\0\0II*\0\x08\0\0\0\x01\0\x0F\x01\x02\0\x13\0\0\0\x1A\0\0\0\0\0\0\0"s + maker;
  exif.resize(10000, '\x55');
  const auto segment = [](char marker, const std::string& payload) {
    const std::size_t length = payload.size() + 2;
    return "\xFF"s + marker + static_cast<char>(length >> 8) + static_cast<char>(length & 0xFF) + payload;
  };
  const std::string head = "\xFF\xD8"s + segment('\xE1', exif) +
                           segment('\xC0', "\x08\x0B\xB8\x0F\xA0\x01\x01\x11\0"s) +
                           segment('\xDA', "\x01\x01\0\0\x3F\0"s);
  return head + noise(size - head.size(), seed) + "\xFF\xD9";
}

// A HEIC file as phones make it: a grid of tiles, a thumbnail and an Exif item.
std::string heic(std::size_t size, unsigned seed) {
  constexpr std::uint32_t grid = 1, thumbnail = 2, exif = 3, firstTile = 4, tiles = 48;
  test::HeifShape shape;
  shape.items = {{.id = grid, .type = "grid", .data = "\0\0\5\7\x0F\xC0\x0B\xD0"s},
                 {.id = thumbnail, .type = "hvc1", .data = noise(10000, seed)},
                 {.id = exif, .type = "Exif", .data = test::exifItem(), .isHidden = true, .isImage = false}};
  shape.references = {{"thmb", thumbnail, {grid}}, {"cdsc", exif, {grid}}, {"dimg", grid, {}}};
  for (std::uint32_t id = firstTile; id < firstTile + tiles; ++id) {
    shape.references.back().to.push_back(id);
    shape.items.push_back(
        {.id = id, .type = "hvc1", .data = noise(size / tiles, seed + id), .isHidden = true});
  }
  return test::makeHeif(shape);
}

// Which photos there are: as many, between these sizes.
struct Kind {
  std::string (*make)(std::size_t size, unsigned seed);
  const char* extension;
  unsigned count;
  std::size_t smallest, largest;
};

// Photos in a folder of their own, gone with the program.
class Photos {
 public:
  explicit Photos(const Kind& kind) {
    std::string name = (std::filesystem::temp_directory_path() / "tollbrook-benchmark-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    root_ = name;
    for (unsigned i = 0; i < kind.count; ++i) {
      const std::size_t size = kind.smallest + (kind.largest - kind.smallest) * i / kind.count;
      files_.push_back(root_ / fmt::format("IMG_{:04}.{}", i, kind.extension));
      std::ofstream(files_.back(), std::ios::binary) << kind.make(size, i + 1);
    }
    sync();
  }
  ~Photos() { std::filesystem::remove_all(root_); }
  Photos(const Photos&) = delete;
  Photos& operator=(const Photos&) = delete;

  const std::vector<std::filesystem::path>& files() const { return files_; }

 private:
  std::filesystem::path root_;
  std::vector<std::filesystem::path> files_;
};

constexpr std::array kinds{Kind{jpeg, "jpg", 300, 3000000, 4000000}, Kind{jpeg, "jpg", 300, 50000, 50000},
                           Kind{heic, "heic", 100, 3000000, 4000000}};

const std::vector<std::filesystem::path>& filesOf(std::int64_t kind) {
  static std::map<std::int64_t, Photos> made;
  return made.try_emplace(kind, kinds.at(static_cast<std::size_t>(kind))).first->second.files();
}

// Other values with every round, so that there is always something to write.
SidecarData dataOf(std::int64_t round) {
  SidecarData data;
  data.takenTime = fromEpoch(1561982400 + static_cast<double>(round));
  data.latitude = 48.8584;
  data.longitude = -2.2945;
  data.altitude = 35;
  return data;
}

void copyOver(const std::filesystem::path& file) {
  const std::filesystem::path temporary = file.native() + ".new";
  const Files::Descriptor from(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  Files::Descriptor to(open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  struct stat status {};
  fstat(from.get(), &status);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (Platform::copyRange(from.get(), 0, to.get(), size) != size || Platform::forceToDisk(to.get()) ||
      to.close() || std::rename(temporary.c_str(), file.c_str()) != 0) {
    throw std::runtime_error("cannot copy");
  }
}

void report(benchmark::State& state, std::size_t files, std::int64_t failures) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(files));
  if (failures != 0) state.SkipWithError("some files were not written");
}

void Copy(benchmark::State& state) {
  const auto& files = filesOf(state.range(0));
  for (auto _ : state) {
    for (const auto& file : files) copyOver(file);
  }
  report(state, files.size(), 0);
}

// With what the built-in writer does besides: the new name is on disk before the next file is begun.
void CopyAndForceFolder(benchmark::State& state) {
  const auto& files = filesOf(state.range(0));
  for (auto _ : state) {
    for (const auto& file : files) {
      copyOver(file);
      if (Files::syncFolder(file.parent_path())) throw std::runtime_error("cannot force the folder");
    }
  }
  report(state, files.size(), 0);
}

void BuiltIn(benchmark::State& state) {
  static std::int64_t round = 0;
  const auto& files = filesOf(state.range(0));
  std::int64_t failures = 0;
  for (auto _ : state) {
    const SidecarData data = dataOf(++round);
    for (const auto& file : files) {
      failures += MetadataWriter::writeWithImageIO(file, data, fmt::format("caption {:06}", round)) ? 0 : 1;
    }
  }
  report(state, files.size(), failures);
}

void ExifToolSession(benchmark::State& state) {
  static std::int64_t round = 1000000;
  const auto session = ExifTool::Session::start(ExifTool::path());
  if (!session) return state.SkipWithError("exiftool is not installed");
  const auto& files = filesOf(state.range(0));
  std::int64_t failures = 0;
  for (auto _ : state) {
    const SidecarData data = dataOf(++round);
    for (const auto& file : files) {
      failures += session->write(file, data, fmt::format("caption {:06}", round)) ? 0 : 1;
    }
  }
  report(state, files.size(), failures);
  session->close();
}

// By their place among the kinds.
BENCHMARK(Copy)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CopyAndForceFolder)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BuiltIn)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ExifToolSession)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tollbrook
