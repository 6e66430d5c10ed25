#pragma once

#include <gtest/gtest.h>

#include <QString>
#include <QStringList>
#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "Desktop/Support/FakeDesktop.h"
#include "Support/Sidecars.h"
#include "Support/TemporaryFolder.h"
#include "Tollbrook/AppModel.h"

namespace tollbrook::test {

/// A literal as Qt's text.
inline QString operator""_s(const char* text, std::size_t size) {
  return QString::fromUtf8(text, static_cast<qsizetype>(size));
}

inline constexpr std::array everyStatus{PairStatus::ready, PairStatus::unmatched, PairStatus::skipped,
                                        PairStatus::fixed, PairStatus::error};

/// What the system calls this errno number, in the user's language.
QString systemText(int error);

/// Lets the event loop turn until `condition` holds; false when it does not within a minute.
bool waitUntil(const std::function<bool()>& condition);

/// Lets it turn until the model neither scans nor writes.
bool waitUntilIdle(const AppModel& model);

/// Ends the model's work, its looks at the disk included, and lets the event loop take what they found.
testing::AssertionResult settle(AppModel& model);

/// A folder for photos and a job store of its own.
class PhotosTest : public testing::Test {
 protected:
  PhotosTest();
  ~PhotosTest() override;

  const std::filesystem::path& root() const { return root_; }
  std::filesystem::path operator/(std::string_view name) const { return root_ / name; }
  const std::filesystem::path& store() const { return store_; }

  /// A photo with its sidecar.
  std::filesystem::path addPair(std::string_view name, const SidecarContents& contents = {}) const;
  /// So many of them.
  void addPairs(int count) const;
  /// A photo without sidecar.
  std::filesystem::path addLonePhoto(std::string_view name) const;
  /// A video with its sidecar, of so many bytes: it takes exiftool about a second to write into half a GiB.
  std::filesystem::path addLongVideo(std::string_view name, std::uint32_t size = 1U << 29U) const;

  /// The record of a folder's job; none when there is no job.
  std::optional<JobJournal::Record> record() const { return record(root_); }
  std::optional<JobJournal::Record> record(const std::filesystem::path& folder) const;
  /// The finished files of root()'s job.
  std::unordered_set<std::string> finished() const;
  /// Makes an unfinished job of root(), or of another folder.
  void leaveUnfinishedJob(bool recursive, const RestoreOptions& options) const {
    leaveUnfinishedJob(root_, recursive, options);
  }
  static void leaveUnfinishedJob(const std::filesystem::path& folder, bool recursive,
                                 const RestoreOptions& options);
  /// Makes so many photos without sidecar that an unfinished job of root() lists as finished, so that a run
  /// passes over them in no time.
  void addFinishedPhotos(int count) const;

  const TemporaryFolder temporary_;

 private:
  const std::filesystem::path root_ = temporary_ / "Holidays 2019";
  const std::filesystem::path store_ = temporary_ / "store/jobs";
};

/// A model on the real engine and pretended desktop services.
class AppTest : public PhotosTest {
 protected:
  AppTest();

  bool waitUntilIdle() { return test::waitUntilIdle(*model_); }
  /// Makes root() the folder and waits for the scan.
  void scanRoot();
  /// Writes and waits for the end, that of a rescan included.
  void write();
  /// Lets every file that has a sidecar fail.
  void writeNothing();
  /// Ends this model and begins another, as the program does when it is started again.
  void startAgain();

  FakeKeepAwake keepAwake_;
  FakeFolderChooser folderChooser_;
  std::unique_ptr<AppModel> model_;
  QStringList statusLines_;  ///< all that the status line has said
};

/// The options a user starts from, without embedded writing, which needs a child process.
RestoreOptions datesOnly();

/// Whether exiftool is writing into the file.
bool isBeingWritten(const std::filesystem::path& file);

/// Whether the file was last modified when its sidecar, one of writePair's default contents, says.
testing::AssertionResult hasTakenDate(const std::filesystem::path& file);

}  // namespace tollbrook::test

/// What nearly every test names.
namespace tollbrook {
using std::filesystem::path;
using test::operator""_s;
using test::waitUntil;
}  // namespace tollbrook

/// Makes Qt's texts readable in the output of a failed test.
QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
QT_END_NAMESPACE
