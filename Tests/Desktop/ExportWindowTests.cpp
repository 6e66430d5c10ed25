#include <gmock/gmock.h>

#include <QLabel>
#include <QTableView>
#include <QTest>
#include <map>

#include "Desktop/Support/WindowTest.h"
#include "Support/CommandLine.h"
#include "Support/Program.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/Paths.h"
#include "Tollbrook/SegmentedPicker.h"
#include "Tollbrook/StatChip.h"
#include "Tollbrook/TakenDateFormat.h"

namespace tollbrook {
namespace {

using nlohmann::json;

// A whole export with every irregularity that downloads have, and a manifest that says what belongs to what,
// in the window.
class ExportWindowTest : public test::WindowTest {
 protected:
  void SetUp() override {
    const path tool = path(TOLLBROOK_TOOLS) / "make-takeout.py";
    if (!std::filesystem::exists(tool)) GTEST_SKIP() << "there is no " << tool << ": nothing was tested here";
    const auto made = test::Program::run(
        {"python3", {tool.string(), export_.string(), "--files", "150", "--seed", "11", "--stub"}});
    if (made.status == 127) GTEST_SKIP() << "python3 is not installed: nothing was tested here";
    ASSERT_EQ(made.status, 0) << made.errors;
    const json manifest = json::parse(test::readFile(temporary_ / "export.manifest.json"));
    for (json entry : manifest.at("media")) {
      const path media = export_ / entry.at("media").get<std::string>();
      entries_.emplace(media, std::move(entry));
    }
    model_->setFolder(export_);
    ASSERT_TRUE(waitUntilIdle());
  }

  // What the manifest is sure of: the file, and what its row shows.
  std::map<path, QStringList> sureRows() const {
    std::map<path, QStringList> rows;
    const TakenDateFormat dates;
    for (const auto& [media, entry] : entries_) {
      if (entry.at("expected") == "open") continue;
      const json& sidecar = entry.at("sidecar");
      const json taken = entry.at("data").is_null() ? json() : entry.at("data").at("takenTime");
      rows[media] = {Paths::shownName(media),
                     taken.is_null() ? "—"_s : dates.text(fromEpoch(taken.get<double>())),
                     sidecar.is_null() ? "missing"_s : Paths::shownName(sidecar.get<std::string>()),
                     entry.at("status") == "ready" ? "Ready"_s : "No sidecar"_s};
    }
    return rows;
  }

  // The rows of the table, by file.
  std::map<path, QStringList> shownRows() const {
    const auto* rows = qobject_cast<const PairTableModel*>(table()->model());
    std::map<path, QStringList> shown;
    for (int index = 0; index < rows->rowCount(); ++index) shown[rows->id(index)] = row(index);
    return shown;
  }

  std::map<path, QStringList> shownRows(RowFilter filter) const {
    QTest::mouseClick(find<SegmentedPicker>("filter")->segment(static_cast<int>(filter)), Qt::LeftButton);
    auto shown = shownRows();
    EXPECT_EQ(find<QLabel>("shownCount")->text(), "%1 shown"_s.arg(shown.size()));
    return shown;
  }

  // The numbers on the chips: media, ready, no JSON.
  std::vector<std::size_t> chips() const {
    std::vector<std::size_t> counts;
    for (const StatChip* chip : find("stats")->findChildren<StatChip*>()) {
      counts.push_back(chip->findChild<QLabel*>("count"_s)->text().toULongLong());
    }
    return counts;
  }

  const path export_ = temporary_ / "export";
  std::map<path, json> entries_;
};

std::size_t countOf(const std::map<path, QStringList>& rows, const QString& status) {
  return static_cast<std::size_t>(
      std::count_if(rows.begin(), rows.end(), [&](const auto& row) { return row.second.last() == status; }));
}

TEST_F(ExportWindowTest, ShowsARowForEachFileOfTheManifest) {
  const auto rows = shownRows();
  std::size_t known = 0;
  for (const auto& [media, row] : rows) known += entries_.contains(media) ? 1U : 0U;
  EXPECT_EQ(known, entries_.size());
  const auto sure = sureRows();
  EXPECT_GT(sure.size(), entries_.size() * 3 / 4);
  for (const auto& [media, expected] : sure) {
    ASSERT_TRUE(rows.contains(media)) << media;
    EXPECT_EQ(rows.at(media), expected) << media;
  }
}

TEST_F(ExportWindowTest, CountsOnItsChipsWhatTheRowsShow) {
  const auto rows = shownRows();
  const std::size_t ready = countOf(rows, "Ready"_s);
  EXPECT_THAT(chips(), testing::ElementsAre(rows.size(), ready, rows.size() - ready));
  EXPECT_GE(ready, countOf(sureRows(), "Ready"_s));
  EXPECT_GE(rows.size() - ready, countOf(sureRows(), "No sidecar"_s));
}

TEST_F(ExportWindowTest, FiltersByWhatTheManifestSays) {
  const auto all = shownRows(RowFilter::all);
  const auto ready = shownRows(RowFilter::ready);
  const auto unmatched = shownRows(RowFilter::unmatched);
  EXPECT_EQ(shownRows(RowFilter::problems), unmatched);
  EXPECT_EQ(ready.size() + unmatched.size(), all.size());
  for (const auto& [media, expected] : sureRows()) {
    const bool isReady = expected.last() == "Ready"_s;
    EXPECT_EQ(ready.contains(media), isReady) << media;
    EXPECT_EQ(unmatched.contains(media), !isReady) << media;
  }
}

TEST_F(ExportWindowTest, WritesTheDatesOfTheManifestAndShowsTheFolderAgain) {
  const auto before = shownRows();
  click("writeButton");
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  ASSERT_TRUE(waitUntilIdle());
  const RestoreOutcome& outcome = *model_->outcome();
  EXPECT_EQ(outcome.failed, 0) << model_->lastError().toStdString();
  std::size_t dated = 0;
  for (const auto& [media, entry] : entries_) {
    if (entry.at("expected") != "paired" || entry.at("data").is_null()) continue;
    const json& taken = entry.at("data").at("takenTime");
    if (taken.is_null()) continue;
    ++dated;
    EXPECT_NEAR(test::modificationDate(media), taken.get<double>(), 2) << media;
  }
  EXPECT_GT(dated, entries_.size() / 2);
  EXPECT_EQ(shownRows(), before);
}

}  // namespace
}  // namespace tollbrook
