// What a scan costs beside the least work that any scan needs: listing the folders and reading every sidecar.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include "TollbrookCore/FolderScanner.h"
#include "TollbrookCore/SidecarMatcher.h"

namespace tollbrook {
namespace {

constexpr int folders = 20;
constexpr int pairsPerFolder = 1000;

std::string sidecar(int number) {
  return fmt::format(R"({{
  "title": "IMG_{0}.jpg", "description": "", "imageViews": "0",
  "creationTime": {{"timestamp": "{1}", "formatted": "{2}"}},
  "photoTakenTime": {{"timestamp": "{1}", "formatted": "{2}"}},
  "geoData": {{"latitude": 48.1, "longitude": 11.5, "altitude": 520.0, "latitudeSpan": 0.0, "longitudeSpan": 0.0}},
  "url": "{3}"
}})",
                     number, 1500000000 + number, std::string(40, 'x'), std::string(520, 'u'));
}

// A tree of empty photos with sidecars of about 1 KB, gone with the program.
class Tree {
 public:
  Tree() {
    std::string name = (std::filesystem::temp_directory_path() / "tollbrook-benchmark-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    root_ = name;
    for (int folder = 0; folder < folders; ++folder) {
      const auto path = root_ / fmt::format("Photos from {}", 2000 + folder);
      std::filesystem::create_directory(path);
      for (int i = 0; i < pairsPerFolder; ++i) {
        const int number = folder * pairsPerFolder + i;
        std::ofstream(path / fmt::format("IMG_{}.jpg", number));
        std::ofstream(path / fmt::format("IMG_{}.jpg.supplemental-metadata.json", number)) << sidecar(number);
      }
    }
  }
  ~Tree() { std::filesystem::remove_all(root_); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  const std::filesystem::path& root() const { return root_; }

 private:
  std::filesystem::path root_;
};

const Tree& tree() {
  static const Tree instance;
  return instance;
}

void perPair(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * folders * pairsPerFolder);
}

// Lists every folder and reads every JSON file, and does nothing with either.
std::size_t readEverything(const std::filesystem::path& folder) {
  std::size_t bytes = 0;
  DIR* directory = opendir(folder.c_str());
  while (const dirent* entry = readdir(directory)) {
    const std::string_view name = entry->d_name;
    if (entry->d_type == DT_DIR && !name.starts_with('.')) bytes += readEverything(folder / name);
    if (entry->d_type != DT_REG || !name.ends_with(".json")) continue;
    std::array<char, 4096> buffer;
    const int file = openat(dirfd(directory), entry->d_name, O_RDONLY | O_CLOEXEC);
    bytes += static_cast<std::size_t>(read(file, buffer.data(), buffer.size()));
    close(file);
  }
  closedir(directory);
  return bytes;
}

void listAndReadOnly(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(readEverything(tree().root()));
  perPair(state);
}
BENCHMARK(listAndReadOnly)->Unit(benchmark::kMillisecond);

void wholeScan(benchmark::State& state) {
  for (auto _ : state) {
    const ScanReport report =
        FolderScanner::scan(tree().root(), true, FolderScanner::previewLimit, [] { return false; });
    if (report.matchedCount != folders * pairsPerFolder) state.SkipWithError("not every photo was paired");
  }
  perPair(state);
}
BENCHMARK(wholeScan)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tollbrook
