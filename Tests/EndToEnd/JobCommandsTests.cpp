#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/Sidecars.h"
#include "Support/StandIn.h"

/// The commands about jobs: resume, jobs, forget.
namespace tollbrook::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t taken = 1425445567;
constexpr std::int64_t old = 1000000000;
const std::string busy = "tollbrook-cli: Another Tollbrook is writing this folder.\n";

class JobCommandsTest : public testing::Test {
 protected:
  JobCommandsTest() { add("a.jpg"); }

  void add(const char* name) const {
    writePair(place / name, tinyJpeg(), {.caption = "Hello"});
    setModificationDate(place / name, old);
  }

  // A job that was stopped before its first file.
  void stop(const std::filesystem::path& at, const std::vector<std::string>& options = {}) const {
    ASSERT_EQ(stoppedWrite(tool, at, options, SIGTERM).status, 143);
  }

  json onlyJob() const {
    const json jobs = tool.document({"jobs"}).at("jobs");
    EXPECT_THAT(jobs, SizeIs(1));
    return jobs.empty() ? json() : jobs[0];
  }

  const TemporaryFolder folder;
  const std::filesystem::path place = folder / "export";
  const CommandLine tool;
};

TEST_F(JobCommandsTest, ResumeFinishesWhatWasStopped) {
  stop(place, {"--no-embedded"});
  EXPECT_EQ(onlyJob().at("phase"), "writing");
  EXPECT_EQ(modificationDate(place / "a.jpg"), old);
  const auto result = tool.run({"resume"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(lines(result.output).back(), "1 dated");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(modificationDate(place / "a.jpg"), taken);
  EXPECT_EQ(onlyJob().at("phase"), "complete");
}

TEST_F(JobCommandsTest, NothingToResumeIsOneLine) {
  for (int turn = 0; turn < 2; ++turn) {
    const auto result = tool.run({"resume"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "No unfinished job.\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(tool.run({"write", place.string()}).status, 0);
  }
}

TEST_F(JobCommandsTest, ResumeKeepsTheOptionsThatTheJobWasStartedWith) {
  add("sub/b.jpg");
  stop(place, {"--no-embedded", "--no-recursive", "--delete-sidecars"});
  const json outcome = tool.document({"resume"});
  EXPECT_EQ(outcome.at("folder"), place.string());
  EXPECT_EQ(outcome.at("seen"), 1);
  EXPECT_EQ(outcome.at("embeddedWriter"), "none");
  EXPECT_EQ(outcome.at("datesSet"), 1);
  EXPECT_EQ(outcome.at("deletedSidecars"), 1);
  EXPECT_EQ(readFile(place / "a.jpg"), tinyJpeg());
  EXPECT_EQ(modificationDate(place / "sub/b.jpg"), old);
}

TEST_F(JobCommandsTest, ResumeDeletesNoSidecarThatTheJobWasNotToDelete) {
  stop(place, {"--no-embedded"});
  EXPECT_EQ(tool.document({"resume"}).at("deletedSidecars"), 0);
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(place / "a.jpg")));
}

TEST_F(JobCommandsTest, ARecordKeepsItsFirstOptionsWhileAWriteUsesItsOwn) {
  stop(place, {"--no-embedded", "--date-tolerance", "7"});
  const json first = onlyJob();
  EXPECT_EQ(
      tool.document({"write", place.string(), "--no-embedded", "--delete-sidecars"}).at("deletedSidecars"),
      1);
  const json later = onlyJob();
  EXPECT_EQ(later.at("options"), first.at("options"));
  EXPECT_EQ(later.at("options").at("dateTolerance"), 7.0);
  EXPECT_EQ(later.at("options").at("deleteSidecars"), false);
  EXPECT_EQ(later.at("startedAt"), first.at("startedAt"));
}

TEST_F(JobCommandsTest, ResumePassesOverWhatIsFinished) {
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).status, 0);
  add("b.jpg");
  stop(place);
  setModificationDate(place / "a.jpg", old);
  const auto result = tool.run({"resume", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(lines(result.output).back(), "1 dated · 1 already finished");
  EXPECT_THAT(result.errors, HasSubstr("1 file was passed over because the job lists it as finished"));
  EXPECT_THAT(result.errors, HasSubstr("tollbrook-cli forget " + place.string()));
  EXPECT_EQ(modificationDate(place / "a.jpg"), old);
  EXPECT_EQ(modificationDate(place / "b.jpg"), taken);
}

TEST_F(JobCommandsTest, ResumePassesOverAJobWhoseFolderIsGone) {
  stop(place, {"--no-embedded"});
  std::filesystem::remove_all(place);
  EXPECT_EQ(tool.run({"resume"}).output, "No unfinished job.\n");
  EXPECT_EQ(onlyJob().at("folderFound"), false);
  EXPECT_THAT(tool.run({"jobs"}).output, HasSubstr("(folder not found)"));
}

TEST_F(JobCommandsTest, ResumePassesOverAJobWhoseFolderIsAFileNow) {
  stop(place, {"--no-embedded"});
  std::filesystem::remove_all(place);
  writeFile(place, "x");
  const auto result = tool.run({"resume"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "No unfinished job.\n");
  EXPECT_EQ(onlyJob().at("folderFound"), false);
}

TEST_F(JobCommandsTest, ResumeMakesNoSecondJobBesideOneThatIsRun) {
  stop(place, {"--no-embedded"});
  // As on macOS after the folder was given another name: the job's directory keeps the old one's.
  const auto renamed = tool.jobs()[0].parent_path() / std::string(64, 'a');
  std::filesystem::rename(tool.jobs()[0], renamed);
  const FolderLock running(renamed);
  const auto result = tool.run({"resume"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors, busy);
  EXPECT_EQ(tool.jobs().size(), 1u);
}

TEST_F(JobCommandsTest, ForgetNeedsAFolder) {
  const auto result = tool.run({"forget", ""});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "tollbrook-cli: the folder's name is empty\n");
}

TEST_F(JobCommandsTest, SomeFailuresOfAResumedRunGiveStatusOne) {
  stop(place, {"--no-embedded", "--no-file-dates"});
  const auto result = tool.run({"resume"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(lines(result.output).back(), "1 failed");
  EXPECT_EQ(result.errors, "tollbrook-cli: a.jpg: Nothing was written\n");
}

TEST_F(JobCommandsTest, AFolderThatIsBeingWrittenIsLeftToItsWriter) {
  FolderLock lock(place);
  Program writer(tool.call({"write", place.string(), "--no-embedded"}));
  ASSERT_TRUE(eventually([&] { return tool.phase() == "writing"; }));
  for (const std::vector<std::string>& other :
       {std::vector<std::string>{"write", place.string()}, {"forget", place.string()}, {"resume"}}) {
    const auto result = tool.run(other);
    EXPECT_EQ(result.status, 2) << other[0];
    EXPECT_EQ(result.output, "") << other[0];
    EXPECT_EQ(result.errors, busy) << other[0];
  }
  // Looking is always allowed.
  EXPECT_EQ(onlyJob().at("phase"), "writing");
  EXPECT_EQ(tool.document({"scan", place.string()}).at("matchedCount"), 1);
  lock.release();
  EXPECT_EQ(writer.wait().output, "1 dated\n");
  EXPECT_EQ(tool.run({"forget", place.string()}).status, 0);
}

TEST_F(JobCommandsTest, JobsAreListedNewestFirst) {
  EXPECT_EQ(tool.run({"jobs"}).output, "No jobs.\n");
  const std::filesystem::path other = folder / "other";
  writePair(other / "b.jpg", tinyJpeg());
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).status, 0);
  stop(other);
  // The newer is the one whose record was replaced last, which the date of the job's directory tells.
  for (const auto& directory : tool.jobs()) {
    const json record = json::parse(readFile(directory / "job.json"));
    setModificationDate(directory, record["folderPath"] == other.string() ? 1577836800 : 1577923200);
  }
  const json jobs = tool.document({"jobs"}).at("jobs");
  ASSERT_THAT(jobs, SizeIs(2));
  EXPECT_EQ(jobs[0].at("folderPath"), place.string());
  EXPECT_EQ(jobs[1].at("folderPath"), other.string());
  const auto shown = lines(tool.run({"jobs"}).output);
  ASSERT_THAT(shown, SizeIs(4));
  EXPECT_EQ(shown[0], "complete    " + place.string());
  EXPECT_THAT(shown[1], testing::ContainsRegex(
                            "^ +1 finished, 0 written, 0 skipped, 0 already finished, 0 failed; started "
                            "[-0-9]+ [:0-9]+ UTC, updated [-0-9]+ [:0-9]+ UTC$"));
  EXPECT_EQ(shown[2], "unfinished  " + other.string());
  EXPECT_THAT(shown[3], HasSubstr(" 0 finished, "));
}

TEST_F(JobCommandsTest, ForgetRemovesTheJobAndNothingInTheFolder) {
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).status, 0);
  const auto result = tool.run({"forget", place.string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "Forgot the job of " + place.string() + "\n");
  EXPECT_THAT(tool.jobs(), IsEmpty());
  EXPECT_EQ(readFile(place / "a.jpg"), tinyJpeg());
  EXPECT_TRUE(std::filesystem::exists(sidecarOf(place / "a.jpg")));
}

TEST_F(JobCommandsTest, AFolderThatIsGoneCanBeForgotten) {
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).status, 0);
  std::filesystem::remove_all(place);
  auto call = tool.call({"forget", "./export/"});
  call.folder = folder.path();
  EXPECT_EQ(Program::run(call).status, 0);
  EXPECT_THAT(tool.jobs(), IsEmpty());
}

TEST_F(JobCommandsTest, NothingToForgetIsNoFailure) {
  for (const std::string& path : {place.string(), std::string("/nowhere")}) {
    const auto result = tool.run({"forget", path});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, testing::StartsWith("Nothing to forget"));
    EXPECT_EQ(result.errors, "");
  }
  EXPECT_TRUE(tool.hasNoStore());
}

TEST_F(JobCommandsTest, ForgettingAFolderLeavesTheJobsOfItsSubfolders) {
  add("sub/b.jpg");
  EXPECT_EQ(tool.run({"write", place.string(), "--no-embedded"}).status, 0);
  EXPECT_EQ(tool.run({"write", (place / "sub").string(), "--no-embedded"}).output, "1 already correct\n");
  EXPECT_EQ(tool.run({"forget", place.string()}).status, 0);
  EXPECT_EQ(onlyJob().at("folderPath"), (place / "sub").string());
}

}  // namespace
}  // namespace tollbrook::test
