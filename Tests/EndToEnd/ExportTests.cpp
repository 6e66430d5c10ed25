#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>

#include "Support/CommandLine.h"
#include "Support/Names.h"

/// Whole exports, built with every irregularity that downloads have, and a manifest that says what belongs to
/// what.
namespace tollbrook::test {
namespace {

using nlohmann::json;

struct Export {
  std::string name;
  std::vector<std::string> arguments;
};

void PrintTo(const Export& made, std::ostream* out) { *out << made.name; }

// One export, made and scanned.
struct Tree {
  const TemporaryFolder folder;
  const std::filesystem::path place = folder / "export";
  std::string whyNot;  ///< there is none
  json manifest;
  json report;
  std::map<std::filesystem::path, json> pairs;

  explicit Tree(const Export& made) {
    const std::filesystem::path tool = std::filesystem::path(TOLLBROOK_TOOLS) / "make-takeout.py";
    std::vector<std::string> arguments{tool.string(), place.string()};
    arguments.insert(arguments.end(), made.arguments.begin(), made.arguments.end());
    if (!std::filesystem::exists(tool)) whyNot = "there is no " + tool.string();
    if (!whyNot.empty()) return;
    const auto result = Program::run({"python3", arguments});
    if (result.status == 127) whyNot = "python3 is not installed";
    if (!whyNot.empty()) return;
    EXPECT_EQ(result.status, 0) << result.errors;
    manifest = json::parse(readFile(folder / "export.manifest.json"));
    report = CommandLine().document({"scan", place.string(), "--limit", "1000000"});
    for (const json& pair : report.at("pairs")) {
      pairs.emplace(std::filesystem::path(pair.at("media").get<std::string>()), pair);
    }
  }
};

class ExportTest : public testing::TestWithParam<Export> {
 protected:
  // The tests only look, so they share the trees.
  static const Tree& tree() {
    auto& made = trees[GetParam().name];
    if (!made) made = std::make_unique<Tree>(GetParam());
    return *made;
  }
  void SetUp() override {
    if (!tree().whyNot.empty()) GTEST_SKIP() << tree().whyNot << ": nothing was tested here";
  }
  static void TearDownTestSuite() { trees.clear(); }

  json absolute(const json& path) const {
    return path.is_null() ? json() : json((tree().place / path.get<std::string>()).string());
  }

  const json& manifest = tree().manifest;
  const json& report = tree().report;
  const std::map<std::filesystem::path, json>& pairs = tree().pairs;

 private:
  static inline std::map<std::string, std::unique_ptr<Tree>> trees;
};

TEST_P(ExportTest, EverySureEntryOfTheManifestComesOutOfAScan) {
  std::size_t sure = 0;
  for (const json& entry : manifest.at("media")) {
    const std::string expected = entry.at("expected");
    const auto found = pairs.find(absolute(entry.at("media")).get<std::string>());
    ASSERT_NE(found, pairs.end()) << entry;
    const json& pair = found->second;
    EXPECT_EQ(pair.at("kind"), entry.at("kind")) << entry;
    if (expected == "open") continue;
    ++sure;
    EXPECT_EQ(pair.at("sidecar"), absolute(entry.at("sidecar"))) << entry;
    EXPECT_EQ(pair.at("status"), entry.at("status")) << entry;
    EXPECT_EQ(pair.at("data"), entry.at("data")) << entry;
  }
  const json& totals = manifest.at("totals");
  EXPECT_EQ(sure, totals.at("paired").get<std::size_t>() + totals.at("none").get<std::size_t>());
  EXPECT_GT(sure, manifest.at("media").size() / 2);
}

TEST_P(ExportTest, TheCountsAgreeWithTheList) {
  std::int64_t ready = 0;
  std::int64_t unusable = 0;
  for (const auto& [media, pair] : pairs) {
    const bool isReady = pair.at("status") == "ready";
    EXPECT_EQ(isReady, !pair.at("data").is_null()) << pair;
    if (isReady) ++ready;
    if (!isReady && !pair.at("sidecar").is_null()) ++unusable;
  }
  EXPECT_EQ(report.at("listCapped"), false);
  EXPECT_EQ(report.at("mediaCount"), pairs.size()) << "no file is listed twice";
  EXPECT_EQ(report.at("matchedCount"), ready);
  EXPECT_EQ(report.at("unmatchedCount"), static_cast<std::int64_t>(pairs.size()) - ready);
  EXPECT_EQ(report.at("parseErrorCount"), unusable);
}

TEST_P(ExportTest, EveryMediaFileIsInTheManifestOrAmongItsExtras) {
  std::set<std::filesystem::path> known;
  for (const char* list : {"media", "extras"}) {
    for (const json& entry : manifest.at(list)) {
      known.insert(absolute(entry.at(list == std::string("media") ? "media" : "path")).get<std::string>());
    }
  }
  for (const auto& [media, pair] : pairs) EXPECT_TRUE(known.contains(media)) << media;
}

// Sidecars that belong to no photo, counted by hand: those in a folder with a photo that no pair has claimed.
TEST_P(ExportTest, OrphansAreTheSidecarsBesidePhotosThatNobodyClaimed) {
  std::set<std::filesystem::path> claimed;
  std::set<std::filesystem::path> foldersWithMedia;
  for (const auto& [media, pair] : pairs) {
    foldersWithMedia.insert(media.parent_path());
    if (!pair.at("sidecar").is_null()) claimed.insert(pair.at("sidecar").get<std::string>());
  }
  std::int64_t orphans = 0;
  for (const auto& parent : foldersWithMedia) {
    for (const auto& entry : std::filesystem::directory_iterator(parent)) {
      if (hasExtension(entry.path(), {".json"}) && !claimed.contains(entry.path())) ++orphans;
    }
  }
  EXPECT_EQ(report.at("orphanJSONCount"), orphans);
}

INSTANTIATE_TEST_SUITE_P(
    Made, ExportTest,
    testing::Values(Export{"SmallExport", {"--files", "60", "--seed", "1"}},
                    Export{"Export", {"--files", "500", "--seed", "2"}},
                    Export{"OtherExport", {"--files", "500", "--seed", "31337", "--albums", "9"}},
                    Export{"FlatExport", {"--files", "500", "--seed", "3", "--flat"}},
                    Export{"LargeExport", {"--files", "20000", "--seed", "5", "--stub"}},
                    Export{"LargeFlatExport", {"--files", "20000", "--seed", "6", "--stub", "--flat"}}),
    [](const auto& made) { return made.param.name; });

}  // namespace
}  // namespace tollbrook::test
