#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "Support/SafetyTest.h"
#include "TollbrookCore/ExifTool.h"

namespace tollbrook::test {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// One system call as strace tells it.
struct SystemCall {
  std::string process;
  std::string name;
  std::string text;        ///< from the name to the result
  std::size_t calledAt;    ///< the line on which it was called
  std::size_t returnedAt;  ///< the line on which it returned

  bool succeeded() const {
    const auto equals = text.rfind(" = ");
    return equals != std::string::npos && text[equals + 3] != '-';
  }
  /// The path of the first descriptor among the arguments.
  std::string descriptor() const {
    const auto begin = text.find('<');
    if (begin == std::string::npos) return "";
    return text.substr(begin + 1, text.find('>', begin) - begin - 1);
  }
  /// The texts in quotation marks, escaped as strace does.
  std::vector<std::string> texts() const {
    std::vector<std::string> list;
    for (std::size_t at = 0; (at = text.find('"', at)) != std::string::npos;) {
      std::size_t stop = at + 1;
      while (stop < text.size() && text[stop] != '"') stop += text[stop] == '\\' ? 2u : 1u;
      list.push_back(text.substr(at + 1, stop - at - 1));
      at = stop + 1;
    }
    return list;
  }
};

/// The calls of a log by `strace -f`, in the order in which they began.
std::vector<SystemCall> parseTrace(const std::string& log) {
  constexpr std::string_view unfinished = " <unfinished ...>";
  std::vector<SystemCall> calls;
  std::map<std::string, std::size_t> open;  // by process
  std::istringstream lines(log);
  std::string line;
  for (std::size_t number = 0; std::getline(lines, line); ++number) {
    const std::string process = line.substr(0, line.find(' '));
    std::string text = line.substr(std::min(line.size(), line.find_first_not_of(' ', process.size())));
    const auto resumed = text.find(" resumed>");
    if (text.starts_with("<... ") && resumed != std::string::npos) {
      if (!open.contains(process)) continue;
      SystemCall& call = calls[open.at(process)];
      call.text += text.substr(resumed + 9);
      call.returnedAt = number;
      continue;
    }
    if (text.starts_with("+++") || text.starts_with("---")) continue;
    if (text.ends_with(unfinished)) {
      text.resize(text.size() - unfinished.size());
      open[process] = calls.size();
    }
    calls.push_back({process, text.substr(0, text.find('(')), text, number, number});
  }
  return calls;
}

class SystemCallTest : public SafetyTest {
 protected:
  void SetUp() override {
    const auto probe = Program::run({.program = "strace", .arguments = {"-f", "-o", "/dev/null", "true"}});
    if (probe.status != 0) GTEST_SKIP() << "strace cannot trace here: nothing was tested here";
  }

  Program::Result runTraced(const std::vector<std::string>& options,
                            const std::vector<std::string>& arguments) const {
    auto call = command(arguments);
    std::vector<std::string> words{"-f", "-o", (trace_ / "log").string()};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(call.program);
    words.insert(words.end(), call.arguments.begin(), call.arguments.end());
    call.program = "strace";
    call.arguments = words;
    // A process cannot be traced by two.
    call.environment.emplace_back("ASAN_OPTIONS", "detect_leaks=0");
    return Program::run(call);
  }

  /// A run in which forcing this to disk fails every time.
  Program::Result runWithBrokenDisk(const std::filesystem::path& file,
                                    const std::vector<std::string>& arguments) const {
    return runTraced({"-P", file.string(), "-e", "trace=fsync", "-e", "inject=fsync:error=EIO"}, arguments);
  }

  /// Everything that a run changed on disk, asked exiftool to change or locked, in order. F is the export, J
  /// the job.
  std::vector<std::string> changes(const std::vector<std::string>& arguments) {
    const auto result =
        runTraced({"-y", "-s", "65536", "-e",
                   "trace=open,openat,creat,write,fsync,fdatasync,utimensat,unlink,unlinkat,rename,renameat,"
                   "renameat2,ftruncate,truncate,link,linkat,flock,execve"},
                  arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    const auto calls = parseTrace(readFile(trace_ / "log"));
    const std::string ours = calls.empty() ? "" : calls[0].process;
    std::vector<std::pair<std::size_t, std::string>> events;
    for (const SystemCall& call : calls) {
      if (!call.succeeded()) continue;
      const bool isOurs = call.process == ours;
      const std::string event = isOurs ? ourEvent(call) : childEvent(call);
      if (event.empty()) continue;
      // Ours counts from its beginning, a child's to its end: a child may act before our call returns.
      events.emplace_back(isOurs ? call.calledAt : call.returnedAt, event);
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> list;
    for (auto& [line, event] : events) {
      // exiftool opens its temporary file a second time, for its dates.
      const bool isRepeated = !list.empty() && list.back() == event && event.starts_with("child opens");
      if (!isRepeated) list.push_back(std::move(event));
    }
    return list;
  }

  std::vector<std::string> recordOf(const std::vector<std::string>& events) const {
    std::vector<std::string> list;
    std::copy_if(events.begin(), events.end(), std::back_inserter(list),
                 [](const std::string& event) { return event.find(" J") != std::string::npos; });
    return list;
  }

  /// From the first lock on a folder of the export to the last line: what concerns the photos.
  static std::vector<std::string> photosOf(std::vector<std::string> events) {
    std::erase_if(events, [](const std::string& event) {
      return event.find(" J") != std::string::npos && event.find("J/done.log") == std::string::npos;
    });
    events.erase(events.begin(), std::find_if(events.begin(), events.end(), [](const std::string& event) {
                   return event.starts_with("lock F");
                 }));
    return events;
  }

 private:
  std::string shortened(const std::string& path) const {
    const std::string jobs = (store() / "Tollbrook/jobs/").string();
    constexpr std::size_t identifier = 64;
    if (path.starts_with(jobs)) return "J" + path.substr(std::min(path.size(), jobs.size() + identifier));
    if (path.starts_with(root().string())) return "F" + path.substr(root().string().size());
    return "";
  }

  static bool opensForWriting(const SystemCall& call) {
    if (call.name == "creat") return true;
    return (call.name == "open" || call.name == "openat") &&
           (call.text.find("O_WRONLY") != std::string::npos || call.text.find("O_RDWR") != std::string::npos);
  }

  std::string below(const std::string& what, const std::string& path) const {
    const std::string name = shortened(path);
    return name.empty() ? "" : what + ' ' + name;
  }

  /// The path that a call names relative to a descriptor.
  static std::string named(const SystemCall& call) {
    const auto texts = call.texts();
    if (texts.empty()) return call.descriptor();
    return texts[0].starts_with('/') ? texts[0] : call.descriptor() + '/' + texts[0];
  }

  std::string ourEvent(const SystemCall& call) const {
    if (call.name == "fsync") return below("force", call.descriptor());
    if (call.name == "flock") {
      return below(call.text.find("LOCK_UN") == std::string::npos ? "lock" : "unlock", call.descriptor());
    }
    if (call.name == "utimensat") return below("date", named(call));
    if (call.name.starts_with("unlink")) return below("delete", named(call));
    if (call.name.starts_with("rename")) {
      const auto texts = call.texts();
      return below("rename", texts[0]) + " to " + shortened(texts[1]);
    }
    if (opensForWriting(call)) return below("open", named(call));
    if (call.name == "write") return writeEvent(call);
    if (call.name == "execve" || call.name.starts_with("open")) return "";
    return below(call.name, call.descriptor());
  }

  std::string writeEvent(const SystemCall& call) const {
    const std::string text = call.texts().at(0);
    constexpr std::string_view end = "\\n-execute\\n";
    if (call.descriptor().starts_with("pipe:") && text.ends_with(end)) {
      // The line before the last is the path.
      const auto begin = text.rfind("\\n", text.size() - end.size() - 1);
      return below("command", text.substr(begin + 2, text.size() - end.size() - begin - 2));
    }
    const std::string log = below("write", call.descriptor());
    return log == "write J/done.log" ? log + " " + text : log;
  }

  std::string childEvent(const SystemCall& call) const {
    if (call.name == "execve") return below("start exiftool", call.texts().back());
    if (opensForWriting(call)) return below("child opens", named(call));
    if (call.name.starts_with("rename")) return below("child replaces", call.texts().at(1));
    if (call.name.starts_with("unlink")) return below("child deletes", named(call));
    return "";
  }

  TemporaryFolder trace_;
};

/// The photos in the order of the run: that of the events of this kind.
std::vector<std::string> orderOf(const std::vector<std::string>& events, const std::string& kind) {
  std::vector<std::string> names;
  for (const std::string& event : events) {
    if (event.starts_with(kind + ' ')) names.push_back(event.substr(kind.size() + 1));
  }
  return names;
}

std::string folderOf(const std::string& photo) { return photo.substr(0, photo.rfind('/')); }

constexpr const char* replaceRecord[] = {"open J/job.json.tmp", "write J/job.json.tmp",
                                         "force J/job.json.tmp", "rename J/job.json.tmp to J/job.json",
                                         "force J"};

TEST_F(SystemCallTest, EveryPhotoIsOnDiskAndRecordedBeforeTheNextIsTouched) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  for (const char* name : {"a.jpg", "b.png", "c.mp4", "sub/d.jpg", "sub/e.mp4", "line\nfeed.jpg"})
    addPhoto(name);
  const auto events = photosOf(changes({"write", root(), "--quiet", "--delete-sidecars"}));
  std::vector<std::string> expected;
  std::size_t oneShots = 0;
  for (const std::string& photo : orderOf(events, "date")) {
    const std::string folder = folderOf(photo);
    const bool oneShot = photo.find("\\n") != std::string::npos;
    oneShots += oneShot;
    const std::string temporary = photo + "_exiftool_tmp";
    expected.insert(expected.end(), {"lock " + folder, (oneShot ? "start exiftool " : "command ") + photo,
                                     "child opens " + temporary, "child replaces " + photo, "force " + photo,
                                     "force " + folder, "date " + photo, "force " + photo,
                                     "delete " + photo + ".supplemental-metadata.json", "unlock " + folder});
    if (oneShot) continue;
    expected.push_back("write J/done.log " + photo.substr(2) + "\\n");
    expected.push_back("force J/done.log");
  }
  EXPECT_EQ(orderOf(events, "date").size(), 6u);
  EXPECT_EQ(oneShots, 1u);
  expected.push_back("force J/done.log");  // once more at the end of the run
  EXPECT_THAT(events, ElementsAreArray(expected));
}

TEST_F(SystemCallTest, DatesAloneAreOnDiskAndRecordedBeforeTheNextPhotoIsTouched) {
  for (const char* name : {"a.jpg", "b.png", "sub/c.mp4"}) addPhoto(name);
  const auto events = photosOf(changes({"write", root(), "--quiet", "--delete-sidecars", "--no-embedded"}));
  const auto photos = orderOf(events, "date");
  EXPECT_EQ(photos.size(), 3u);
  std::vector<std::string> expected;
  for (const std::string& photo : photos) {
    expected.insert(expected.end(),
                    {"lock " + folderOf(photo), "date " + photo, "force " + photo,
                     "delete " + photo + ".supplemental-metadata.json", "unlock " + folderOf(photo),
                     "write J/done.log " + photo.substr(2) + "\\n", "force J/done.log"});
  }
  expected.push_back("force J/done.log");  // once more at the end of the run
  EXPECT_THAT(events, ElementsAreArray(expected));
}

TEST_F(SystemCallTest, RecordAndListAreReplacedAtomically) {
  std::vector<std::string> expected{"lock J",
                                    "open J/done.log.tmp",
                                    "write J/done.log.tmp",
                                    "force J/done.log.tmp",
                                    "rename J/done.log.tmp to J/done.log",
                                    "force J",
                                    "open J/done.log"};
  expected.insert(expected.end(), std::begin(replaceRecord), std::end(replaceRecord));
  // When the run is over.
  expected.insert(expected.end(), std::begin(replaceRecord), std::end(replaceRecord));
  expected.insert(expected.end(), {"force J/done.log", "unlock J"});
  EXPECT_THAT(recordOf(changes({"write", root(), "--quiet", "--no-embedded"})), ElementsAreArray(expected));
}

TEST_F(SystemCallTest, ATornLineIsCutOffForGoodBeforeAnythingIsAppended) {
  ASSERT_EQ(run({"write", root(), "--quiet", "--no-embedded"}).status, 0);
  const auto log = job() / "done.log";
  writeFile(log, "v1\nIMG_1");
  addPhoto("2.jpg");
  const auto events = recordOf(changes({"write", root(), "--quiet", "--no-embedded"}));
  const auto cut = std::find(events.begin(), events.end(), "ftruncate J/done.log");
  ASSERT_NE(cut, events.end());
  ASSERT_NE(cut + 1, events.end());
  EXPECT_EQ(cut[1], "force J/done.log");
  EXPECT_LT(cut, std::find(events.begin(), events.end(), "write J/done.log 2.jpg\\n"));
  EXPECT_EQ(readFile(log), "v1\n2.jpg\n");
}

/// Runs in which the disk refuses to take something for good.
class BrokenDiskTest : public SystemCallTest {
 protected:
  void addPhotos() {
    for (const char* name : {"a.jpg", "b.jpg", "c.jpg"}) photos_.push_back(addPhoto(name));
  }

  bool hasSidecar(const Photo& photo) const { return std::filesystem::exists(sidecarOf(photo.path)); }

  const std::vector<std::string> writing_{"write", root(), "--json", "--quiet", "--delete-sidecars"};
  std::vector<Photo> photos_;
};

TEST_F(BrokenDiskTest, APhotoThatIsNotOnDiskIsNotRecordedAndDoneAgain) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  addPhotos();
  EXPECT_EQ(runWithBrokenDisk(photos_[1].path, writing_).status, 0);
  EXPECT_THAT(finished(), UnorderedElementsAre("a.jpg", "c.jpg"));
  EXPECT_FALSE(hasSidecar(photos_[0]));
  EXPECT_TRUE(hasSidecar(photos_[1]));
  const auto outcome = nlohmann::json::parse(run(writing_).output);
  EXPECT_EQ(outcome["alreadyDone"], 2);
  EXPECT_EQ(outcome["skipped"], 0);
  EXPECT_EQ(outcome["embeddedWritten"], 1);
  EXPECT_EQ(outcome["datesSet"], 1);
  EXPECT_FALSE(hasSidecar(photos_[1]));
  EXPECT_EQ(finished().size(), 3u);
  expectAllRestored(photos_);
}

TEST_F(BrokenDiskTest, NoPhotoIsRecordedWhoseFolderIsNotOnDisk) {
  TOLLBROOK_NEEDS_EXIFTOOL();
  addPhotos();
  EXPECT_EQ(runWithBrokenDisk(root(), writing_).status, 0);
  EXPECT_THAT(finished(), IsEmpty());
  for (const Photo& photo : photos_) EXPECT_TRUE(hasSidecar(photo));
  EXPECT_EQ(nlohmann::json::parse(run(writing_).output)["embeddedWritten"], 3);
  EXPECT_EQ(finished().size(), 3u);
  expectAllRestored(photos_);
}

TEST_F(BrokenDiskTest, DatesThatAreNotOnDiskAreNotRecorded) {
  addPhotos();
  auto arguments = writing_;
  arguments.push_back("--no-embedded");
  EXPECT_EQ(runWithBrokenDisk(photos_[1].path, arguments).status, 0);
  EXPECT_THAT(finished(), UnorderedElementsAre("a.jpg", "c.jpg"));
  EXPECT_TRUE(hasSidecar(photos_[1]));
}

TEST_F(BrokenDiskTest, ALineThatIsNotOnDiskIsTakenBack) {
  addPhotos();
  ASSERT_EQ(run({"write", root(), "--no-embedded", "--quiet"}).status, 0);
  writeFile(job() / "done.log", "v1\n");
  EXPECT_EQ(runWithBrokenDisk(job() / "done.log", writing_).status, 0);
  EXPECT_EQ(readFile(job() / "done.log"), "v1\n");
  EXPECT_EQ(run(writing_).status, 0);
  EXPECT_EQ(finished().size(), 3u);
}

TEST_F(BrokenDiskTest, AFolderThatCannotBeReadToItsEndLeavesTheJobUnfinished) {
  photos_.push_back(addPhoto("a.jpg"));
  addPhoto("sub/b.jpg");
  auto arguments = writing_;
  arguments.push_back("--no-embedded");
  const auto result = runTraced(
      {"-P", root() / "sub", "-e", "trace=getdents64", "-e", "inject=getdents64:error=EIO"}, arguments);
  EXPECT_EQ(result.status, 1) << result.errors;
  const auto outcome = nlohmann::json::parse(result.output);
  EXPECT_EQ(outcome["errors"], nlohmann::json({"sub: Could not be read"}));
  EXPECT_EQ(outcome["failed"], 1);
  EXPECT_THAT(finished(), UnorderedElementsAre("a.jpg"));
  EXPECT_EQ(record()["phase"], "writing");
  EXPECT_EQ(run({"resume", "--quiet"}).status, 0);
  EXPECT_THAT(finished(), UnorderedElementsAre("a.jpg", "sub/b.jpg"));
  EXPECT_EQ(record()["phase"], "complete");
}

TEST_F(BrokenDiskTest, APhotoWhoseSidecarTheDiskDoesNotGiveIsNotRecorded) {
  addPhotos();
  auto arguments = writing_;
  arguments.push_back("--no-embedded");
  // A disk that fails, and a network drive that went away.
  for (const std::string error : {"EIO", "ENOTCONN"}) {
    const auto result =
        runTraced({"-P", sidecarOf(photos_[1].path), "-e", "trace=read", "-e", "inject=read:error=" + error},
                  arguments);
    EXPECT_EQ(result.status, 1) << result.errors;
    EXPECT_EQ(nlohmann::json::parse(result.output)["errors"], nlohmann::json({"b.jpg: Could not be read"}));
    EXPECT_THAT(finished(), UnorderedElementsAre("a.jpg", "c.jpg"));
    EXPECT_EQ(record()["phase"], "writing");
  }
  EXPECT_EQ(run({"resume", "--quiet"}).status, 0);
  EXPECT_TRUE(isDated(photos_[1].path, photos_[1].wanted));
  EXPECT_EQ(record()["phase"], "complete");
}

TEST_F(BrokenDiskTest, WithoutARecordOnDiskNothingIsWritten) {
  addPhotos();
  ASSERT_EQ(run({"write", root(), "--no-embedded", "--quiet"}).status, 0);
  const auto directory = job();
  std::filesystem::remove(directory / "done.log");
  for (const Photo& photo : photos_) writePair(photo.path, readFile(photo.path), photo.wanted);
  const auto result = runWithBrokenDisk(directory / "job.json.tmp", writing_);
  EXPECT_EQ(result.status, 2);
  EXPECT_TRUE(result.errors.starts_with("tollbrook-cli: "));
  EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
  for (const Photo& photo : photos_) EXPECT_FALSE(isDated(photo.path, photo.wanted));
  EXPECT_FALSE(std::filesystem::exists(directory / "job.json.tmp"));
}

}  // namespace
}  // namespace tollbrook::test
