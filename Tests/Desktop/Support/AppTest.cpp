#include "Desktop/Support/AppTest.h"

#include <QTest>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "TollbrookCore/Support/Files.h"

namespace tollbrook::test {

QString systemText(int error) { return QString::fromStdString(Files::errorOf(error).message()); }

bool waitUntil(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 60000); }

bool waitUntilIdle(const AppModel& model) {
  return waitUntil([&] { return !model.isBusy(); });
}

testing::AssertionResult settle(AppModel& model) {
  if (!model.stopAndWait(std::chrono::seconds(30))) return testing::AssertionFailure() << "it goes on";
  QCoreApplication::processEvents();
  return testing::AssertionSuccess();
}

RestoreOptions datesOnly() {
  RestoreOptions options = defaultRestoreOptions();
  options.writeEmbedded = false;
  return options;
}

bool isBeingWritten(const std::filesystem::path& file) {
  return std::filesystem::exists(file.native() + "_exiftool_tmp");
}

testing::AssertionResult hasTakenDate(const std::filesystem::path& file) {
  const double date = modificationDate(file);
  if (date == static_cast<double>(SidecarContents{}.takenTime.value())) return testing::AssertionSuccess();
  return testing::AssertionFailure() << file << " is dated " << date;
}

PhotosTest::PhotosTest() {
  std::filesystem::create_directory(root_);
  JobJournal::setBaseDirectoryOverride(store_);
}

PhotosTest::~PhotosTest() { JobJournal::setBaseDirectoryOverride(std::nullopt); }

std::filesystem::path PhotosTest::addPair(std::string_view name, const SidecarContents& contents) const {
  writePair(root_ / name, tinyJpeg(), contents);
  return root_ / name;
}

void PhotosTest::addPairs(int count) const {
  for (int number = 1; number <= count; ++number) addPair("IMG_" + std::to_string(number) + ".jpg");
}

std::filesystem::path PhotosTest::addLonePhoto(std::string_view name) const {
  writeFile(root_ / name, tinyJpeg());
  return root_ / name;
}

std::filesystem::path PhotosTest::addLongVideo(std::string_view name, std::uint32_t size) const {
  writeMp4(root_ / name, size);
  writeFile(sidecarOf(root_ / name), sidecarJson());
  return root_ / name;
}

std::optional<JobJournal::Record> PhotosTest::record(const std::filesystem::path& folder) const {
  const std::filesystem::path file = store_ / JobJournal::id(folder) / "job.json";
  return std::filesystem::exists(file) ? JobJournal::decode(readFile(file)) : std::nullopt;
}

std::unordered_set<std::string> PhotosTest::finished() const {
  return JobJournal::loadDone(store_ / JobJournal::id(root_) / "done.log");
}

void PhotosTest::leaveUnfinishedJob(const std::filesystem::path& folder, bool recursive,
                                    const RestoreOptions& options) {
  JobJournal::open(folder, recursive, options)->note(0, 0, 0, 0);
}

void PhotosTest::addFinishedPhotos(int count) const {
  leaveUnfinishedJob(true, datesOnly());
  std::string list = "v1\n";
  for (int number = 1; number <= count; ++number) {
    const std::string name = "DSC_" + std::to_string(number) + ".jpg";
    addLonePhoto(name);
    list += name + '\n';
  }
  writeFile(store_ / JobJournal::id(root_) / "done.log", list);
}

AppTest::AppTest() { startAgain(); }

void AppTest::startAgain() {
  model_.reset();
  statusLines_.clear();
  model_ = std::make_unique<AppModel>(keepAwake_, folderChooser_);
  model_->setOptions(datesOnly());
  QObject::connect(model_.get(), &AppModel::statusLineChanged, model_.get(),
                   [this] { statusLines_.push_back(model_->statusLine()); });
}

void AppTest::scanRoot() {
  model_->setFolder(root());
  ASSERT_TRUE(model_->isScanning());
  ASSERT_TRUE(waitUntilIdle());
}

void AppTest::writeNothing() {
  RestoreOptions options = model_->options();
  options.writeFileDates = false;
  model_->setOptions(options);
}

void AppTest::write() {
  model_->apply();
  ASSERT_TRUE(model_->isApplying());
  ASSERT_TRUE(waitUntilIdle());
}

}  // namespace tollbrook::test
