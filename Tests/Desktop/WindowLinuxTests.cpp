#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>

#include "Desktop/Support/Application.h"
#include "Support/CommandLine.h"
#include "Support/ReadBack.h"
#include "Support/Sidecars.h"
#include "Support/StandIn.h"
#include "TollbrookCore/ExifTool.h"
#include "TollbrookCore/Models.h"

/// The built program in a real window, used by keyboard as a person would.
namespace tollbrook {
namespace {

using std::filesystem::path;
using test::Application;
using test::eventually;
using test::Program;

constexpr std::size_t fileCount = 300;

// An X server of the test's own.
class Display {
 public:
  // Empty when there is no such server.
  static std::unique_ptr<Display> start() {
    auto display = std::make_unique<Display>();
    const bool ready =
        eventually([&] { return !display->server_.output().empty() || !display->server_.isRunning(); });
    return ready && display->server_.isRunning() ? std::move(display) : nullptr;
  }

  std::string name() const {
    const std::string number = server_.output();
    return ':' + number.substr(0, number.find('\n'));
  }

  bool send(const std::vector<std::string>& arguments) const {
    return Program::run({.program = "xdotool", .arguments = arguments, .environment = {{"DISPLAY", name()}}})
               .status == 0;
  }
  // Gives the keyboard to the program's window, once that is there.
  bool focusWindow() const {
    return eventually([this] {
      return send({"search", "--onlyvisible", "--name", "^Tollbrook$", "windowfocus", "--sync"});
    });
  }
  void press(const std::string& keys) const { EXPECT_TRUE(send({"key", keys})) << keys; }

  Program server_{{.program = "Xvfb",
                   .arguments = {"-displayfd", "1", "-screen", "0", "1280x1024x24", "-nolisten", "tcp"}}};
};

// The photo with this number was taken at this second since 1970.
std::int64_t takenAt(std::size_t number) { return 946684800 + static_cast<std::int64_t>(number) * 2345678; }

std::string captionOf(std::size_t number) { return fmt::format("Łódź no. {}", number); }

std::string stamp(std::int64_t time) {
  const auto seconds = static_cast<std::time_t>(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[20];
  std::strftime(text, sizeof text, "%Y:%m:%d %H:%M:%S", &parts);
  return text;
}

std::vector<path> mediaIn(const path& folder) {
  std::vector<path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (isMedia(inferMediaKindFrom(entry.path()))) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Those below `folder` into which exiftool itself can write, tried on a copy.
std::set<path> writable(const path& folder, const std::vector<path>& files) {
  const test::TemporaryFolder copies;
  const path copy = copies / "tree";
  std::filesystem::copy(folder, copy, std::filesystem::copy_options::recursive);
  Program::run(
      {ExifTool::path()->string(),
       {"-q", "-q", "-overwrite_original", "-r", "-EXIF:Artist=probe", "-XMP:Label=probe", copy.string()}});
  std::set<path> found;
  for (const path& file : files) {
    const path twin = copy / file.lexically_relative(folder);
    if (test::readFile(file) != test::readFile(twin)) found.insert(file);
  }
  return found;
}

// The sample photos, again in an album until there are enough, each with its sidecar.
std::vector<path> makeTree(const path& root) {
  const std::vector<path> samples = mediaIn(path(TOLLBROOK_CORPUS) / "media");
  std::filesystem::create_directories(root / "album");
  std::vector<path> files;
  for (std::size_t number = 0; number < fileCount; ++number) {
    const path name = samples[number % samples.size()].filename();
    files.push_back(number < samples.size() ? root / name : root / "album" / name);
    std::filesystem::copy_file(samples[number % samples.size()], files.back());
    test::writeFile(test::sidecarOf(files.back()),
                    test::sidecarJson({.takenTime = takenAt(number), .caption = captionOf(number)}));
  }
  return files;
}

bool holds(const nlohmann::json& metadata, const std::string& tag, const std::string& value) {
  return std::any_of(metadata.items().begin(), metadata.items().end(), [&](const auto& item) {
    return item.key().ends_with(':' + tag) && item.value().is_string() &&
           item.value().template get<std::string>().starts_with(value);
  });
}

bool holdsCaption(const nlohmann::json& metadata, const std::string& caption) {
  return holds(metadata, "Description", caption) || holds(metadata, "ImageDescription", caption);
}

class WindowTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(path(TOLLBROOK_CORPUS) / "media")) {
      GTEST_SKIP() << "there are no sample photos: nothing was tested here";
    }
    TOLLBROOK_NEEDS_EXIFTOOL();
    display_ = Display::start();
    if (!display_ || !display_->send({"version"})) {
      GTEST_SKIP() << "Xvfb and xdotool are not installed: nothing was tested here";
    }
  }

  std::unique_ptr<Display> display_;
  const test::TemporaryFolder temporary_;
  const path root_ = temporary_ / "Holidays 2019";
};

TEST_F(WindowTest, WritesStopsQuitsAndContinuesWhereItStopped) {
  const std::vector<path> files = makeTree(root_);
  ASSERT_EQ(files.size(), fileCount);
  const std::set<path> takingTags = writable(root_, files);
  const Application application(display_->name());

  auto program = application.start({root_.string()});
  ASSERT_TRUE(display_->focusWindow());
  // Until the scan is over the shortcut does nothing.
  ASSERT_TRUE(eventually([&] {
    display_->press("ctrl+Return");
    return application.isRunning(root_);
  }));
  ASSERT_TRUE(eventually([&] { return application.finishedCount(root_) >= 20; }));
  display_->press("ctrl+period");
  ASSERT_TRUE(eventually([&] { return !application.isRunning(root_); }));
  const std::size_t finishedBefore = application.finishedCount(root_);
  EXPECT_LT(finishedBefore, fileCount);
  EXPECT_EQ(application.phase(root_), JobJournal::Phase::writing);
  display_->press("ctrl+q");
  EXPECT_EQ(program->wait(std::chrono::seconds(60)).status, 0);

  program = application.start();
  ASSERT_TRUE(display_->focusWindow());
  ASSERT_TRUE(eventually([&] { return application.finishedCount(root_) > finishedBefore; }));
  ASSERT_TRUE(eventually([&] { return application.phase(root_) == JobJournal::Phase::complete; },
                         std::chrono::minutes(5)));
  display_->press("ctrl+q");
  EXPECT_EQ(program->wait(std::chrono::seconds(60)).status, 0);

  const auto metadata = test::metadataBelow(root_);
  std::size_t checked = 0;
  for (std::size_t number = 0; number < files.size(); ++number) {
    const path& file = files[number];
    SCOPED_TRACE(file);
    EXPECT_EQ(test::modificationDate(file), static_cast<double>(takenAt(number)));
    if (!takingTags.contains(file)) continue;
    ++checked;
    const auto read = metadata.find(file);
    ASSERT_NE(read, metadata.end());
    EXPECT_TRUE(holds(read->second, "DateTimeOriginal", stamp(takenAt(number))));
    EXPECT_TRUE(holdsCaption(read->second, captionOf(number)));
  }
  std::cout << finishedBefore << " files finished before the stop; tags read back from " << checked << " of "
            << files.size() << '\n';
  EXPECT_GT(checked, fileCount / 2);
}

}  // namespace
}  // namespace tollbrook
