#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>

#include "Desktop/Support/Application.h"
#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
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

  // Without -noreset it would start anew whenever xdotool, being alone there, leaves, and turn away a program
  // that connects just then.
  Program server_{
      {.program = "Xvfb",
       .arguments = {"-displayfd", "1", "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset"}}};
};

// The photo with this number was taken at this second since 1970.
std::int64_t takenAt(std::size_t number) { return 946684800 + static_cast<std::int64_t>(number) * 2345678; }

// What its sidecar says.
test::SidecarContents toldOf(std::size_t number) {
  const auto step = static_cast<double>(number);
  return {.takenTime = takenAt(number),
          .latitude = (number % 2 == 0 ? 1 : -1) * (3.25 + step * 0.25),
          .longitude = (number % 3 == 0 ? 1 : -1) * (11.5 + step * 0.5),
          .caption = fmt::format("Łódź no. {}.", number)};
}

std::vector<path> mediaIn(const path& folder) {
  std::vector<path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (isMedia(inferMediaKindFrom(entry.path()))) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
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
    test::writeFile(test::sidecarOf(files.back()), test::sidecarJson(toldOf(number)));
  }
  return files;
}

// Below, in every group that has it, a tag begins with this value; none where no group has it.
std::optional<bool> begins(const nlohmann::json& metadata, std::string_view tag, const std::string& value) {
  std::optional<bool> all;
  for (const auto& [key, found] : metadata.items()) {
    if (!key.ends_with(':' + std::string(tag))) continue;
    all = all.value_or(true) && found.is_string() && found.template get<std::string>().starts_with(value);
  }
  return all;
}

// Whether a number stands there without its sign, which is a tag of its own in some groups.
bool isNear(const nlohmann::json& metadata, std::string_view tag, double value) {
  for (const auto& [key, found] : metadata.items()) {
    if (key.ends_with(':' + std::string(tag)) && found.is_number() &&
        std::abs(std::abs(found.template get<double>()) - std::abs(value)) < 1e-6) {
      return true;
    }
  }
  return false;
}

// What of a sidecar stands in a file.
struct Held {
  bool date = false;
  bool filmDates = false;
  bool position = false;
  bool caption = false;

  // Nothing in a file that exiftool does not read.
  static Held in(const std::map<path, nlohmann::json>& all, const path& file,
                 const test::SidecarContents& told) {
    const auto read = all.find(file);
    if (read == all.end()) return {};
    const nlohmann::json& metadata = read->second;
    const std::string time = test::stampOf(told.takenTime.value());
    bool filmDates = true;
    bool hasFilmDates = false;
    for (const char* tag : {"TrackCreateDate", "TrackModifyDate", "MediaCreateDate", "MediaModifyDate"}) {
      const auto found = begins(metadata, tag, time);
      hasFilmDates = hasFilmDates || found;
      filmDates = filmDates && found.value_or(true);
    }
    return {.date = begins(metadata, "DateTimeOriginal", time).value_or(false),
            .filmDates = hasFilmDates && filmDates,
            .position = isNear(metadata, "GPSLatitude", told.latitude.value()) &&
                        isNear(metadata, "GPSLongitude", told.longitude.value()),
            .caption = begins(metadata, "Description", told.caption.value()).value_or(false) ||
                       begins(metadata, "ImageDescription", told.caption.value()).value_or(false)};
  }

  friend bool operator==(const Held&, const Held&) = default;
  friend void PrintTo(const Held& held, std::ostream* out) {
    *out << "date " << held.date << ", film's dates " << held.filmDates << ", position " << held.position
         << ", caption " << held.caption;
  }
};

// What of a sidecar each file below `folder` takes when exiftool itself writes it, tried on copies.
std::map<path, Held> taking(const path& folder, const std::vector<path>& files) {
  const test::SidecarContents probe{
      .takenTime = 981173106, .latitude = 1.25, .longitude = 2.5, .caption = "probe"};
  const std::string time = test::stampOf(probe.takenTime.value()) + "+00:00";
  const test::TemporaryFolder copies;
  const path copy = copies / "tree";
  std::filesystem::copy(folder, copy, std::filesystem::copy_options::recursive);
  std::vector<std::string> arguments{"-q", "-q", "-overwrite_original", "-r", "-api", "QuickTimeUTC=1"};
  for (const char* tag : {"DateTimeOriginal", "CreateDate", "ModifyDate", "TrackCreateDate",
                          "TrackModifyDate", "MediaCreateDate", "MediaModifyDate"}) {
    arguments.push_back(fmt::format("-{}={}", tag, time));
  }
  arguments.insert(arguments.end(),
                   {"-GPSLatitude=1.25", "-GPSLatitudeRef=N", "-GPSLongitude=2.5", "-GPSLongitudeRef=E",
                    "-ImageDescription=probe", "-Description=probe", copy.string()});
  Program::run({ExifTool::path()->string(), arguments});
  const auto metadata = test::metadataBelow(copy);
  std::map<path, Held> result;
  for (const path& file : files) {
    result.emplace(file, Held::in(metadata, copy / file.lexically_relative(folder), probe));
  }
  return result;
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
  const std::map<path, Held> expected = taking(root_, files);
  ASSERT_EQ(expected.size(), fileCount);
  const Application application(display_->name());

  auto program = application.start({root_.string()});
  ASSERT_TRUE(display_->focusWindow()) << program->errors();
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
  ASSERT_TRUE(display_->focusWindow()) << program->errors();
  ASSERT_TRUE(eventually([&] { return application.finishedCount(root_) > finishedBefore; }));
  ASSERT_TRUE(eventually([&] { return application.phase(root_) == JobJournal::Phase::complete; },
                         std::chrono::minutes(5)));
  display_->press("ctrl+q");
  EXPECT_EQ(program->wait(std::chrono::seconds(60)).status, 0);

  const auto metadata = test::metadataBelow(root_);
  std::map<std::string, std::size_t> counts;
  for (std::size_t number = 0; number < files.size(); ++number) {
    const path& file = files[number];
    SCOPED_TRACE(file);
    EXPECT_EQ(test::modificationDate(file), static_cast<double>(takenAt(number)));
    const Held held = Held::in(metadata, file, toldOf(number));
    EXPECT_EQ(held, expected.at(file));
    counts["dates"] += held.date ? 1 : 0;
    counts["films' dates"] += held.filmDates ? 1 : 0;
    counts["positions"] += held.position ? 1 : 0;
    counts["captions"] += held.caption ? 1 : 0;
  }
  std::cout << finishedBefore << " of " << files.size() << " files finished before the stop; read back:";
  for (const auto& [kind, count] : counts) {
    std::cout << ' ' << count << ' ' << kind;
    EXPECT_GT(count, 0U) << kind;
  }
  std::cout << '\n';
}

TEST_F(WindowTest, WritesWithoutFileWorkOnItsMainThread) {
  if (!test::Trace::isPossible()) {
    GTEST_SKIP() << "strace is not installed or may not trace: nothing was tested here";
  }
  for (const char* name : {"a.jpg", "b.jpg"}) test::writePair(root_ / name, test::tinyJpeg(), {});
  const Application application(display_->name());
  const test::Trace trace(application.call({root_.string()}));
  ASSERT_TRUE(display_->focusWindow());
  ASSERT_TRUE(eventually([&] {
    display_->press("ctrl+Return");
    return application.phase(root_) == JobJournal::Phase::complete;
  }));
  EXPECT_TRUE(trace.end());
  // The look at its argument.
  EXPECT_THAT(trace.callsOfMainThread(root_), testing::ElementsAre(testing::HasSubstr("stat")));
  EXPECT_THAT(trace.callsOfMainThread(application.data() / "Tollbrook"), testing::IsEmpty());
}

}  // namespace
}  // namespace tollbrook
