#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "Support/CommandLine.h"
#include "Support/Fixtures.h"
#include "Support/Sidecars.h"
#include "Support/StandIn.h"
#include "TollbrookCore/Support/Files.h"

/// What the command line is told, and how it answers when it cannot do it.
namespace tollbrook::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

class CommandLineTest : public testing::Test {
 protected:
  CommandLineTest() { writePair(photo, tinyJpeg()); }

  // One line on standard error, nothing on standard output, no job, the photo as it was.
  void expectRefusal(const Program::Result& result, const std::string& reason) {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    ASSERT_THAT(lines(result.errors), SizeIs(1)) << result.errors;
    EXPECT_THAT(result.errors, StartsWith("tollbrook-cli: "));
    EXPECT_THAT(result.errors, HasSubstr(reason));
    EXPECT_LT(result.errors.size(), 200u) << result.errors;
    EXPECT_TRUE(tool.hasNoStore());
    EXPECT_EQ(readFile(photo), tinyJpeg());
  }
  void expectRefusal(const Arguments& arguments, const std::string& reason) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    expectRefusal(tool.run(arguments), reason);
  }

  const TemporaryFolder folder;
  const std::filesystem::path photo = folder / "export/a.jpg";
  const std::string place = (folder / "export").string();
  const CommandLine tool;
};

TEST_F(CommandLineTest, HelpNamesEveryCommandAndOption) {
  const auto help = tool.run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.errors, "");
  for (const char* command : {"scan", "write", "resume", "jobs", "forget"}) {
    EXPECT_THAT(help.output, HasSubstr(command));
  }
  const std::pair<const char*, Arguments> options[] = {
      {"scan", {"FOLDER", "--no-recursive", "--limit N", "--json"}},
      {"write",
       {"FOLDER", "--no-recursive", "--no-file-dates", "--no-embedded", "--no-captions", "--rewrite-matching",
        "--delete-sidecars", "--date-tolerance SECONDS", "--json", "--quiet"}},
      {"resume", {"--json", "--quiet"}},
      {"jobs", {"--json"}},
      {"forget", {"FOLDER"}}};
  for (const auto& [command, words] : options) {
    const auto ofCommand = tool.run({command, "--help"});
    EXPECT_EQ(ofCommand.status, 0);
    for (const std::string& word : words) EXPECT_THAT(ofCommand.output, HasSubstr(word)) << command;
  }
  EXPECT_TRUE(tool.hasNoStore());
}

TEST_F(CommandLineTest, VersionIsOneLine) {
  const auto result = tool.run({"--version"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, testing::MatchesRegex("tollbrook-cli [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  EXPECT_EQ(result.errors, "");
}

TEST_F(CommandLineTest, RefusesACommandLineThatItDoesNotUnderstand) {
  expectRefusal(Arguments{}, "a command is missing");
  expectRefusal({"polish"}, "polish is no command");
  expectRefusal({"polish", place}, "polish is no command");
  expectRefusal({""}, "is no command");
  expectRefusal({"--json"}, "--json");
  for (const char* command : {"scan", "write", "forget"}) expectRefusal({command}, "FOLDER is required");
  for (const char* command : {"scan", "write", "forget"}) {
    expectRefusal({command, place, "one too many"}, "one too many");
  }
  for (const char* command : {"resume", "jobs"}) expectRefusal({command, place}, place);
  expectRefusal({"scan", place, "--quiet"}, "--quiet");
  expectRefusal({"scan", place, "--delete-sidecars"}, "--delete-sidecars");
  expectRefusal({"write", place, "--limit", "3"}, "--limit");
  expectRefusal({"write", place, "--no-recursive=yes"}, "no-recursive");
  expectRefusal({"jobs", "--quiet"}, "--quiet");
  expectRefusal({"write", place, "--poli\nsh\x1b[31m"}, "--poli\\nsh\\x1b[31m");
}

TEST_F(CommandLineTest, RefusesABadLimit) {
  for (const char* value :
       {"-1", "many", "", " 3", "1.5", "nan", "inf", "1e999", "0x10", "9223372036854775808"}) {
    expectRefusal({"scan", place, "--limit", value}, "--limit: \"" + std::string(value) + '"');
  }
  expectRefusal({"scan", place, "--limit"}, "--limit");
  expectRefusal({"scan", place, "--limit", "1", "--limit", "2"}, "--limit");
}

TEST_F(CommandLineTest, RefusesABadDateTolerance) {
  for (const char* value : {"-1", "-0.001", "long", "", " 3", "5s", "nan", "inf", "-inf", "1e999"}) {
    expectRefusal({"write", place, "--date-tolerance", value},
                  "--date-tolerance: \"" + std::string(value) + '"');
  }
  expectRefusal({"write", place, "--date-tolerance"}, "--date-tolerance");
}

TEST_F(CommandLineTest, RefusesAFolderThatIsMissing) {
  const std::string missing = (folder / "missing").string();
  for (const char* command : {"scan", "write"}) {
    expectRefusal({command, missing}, missing + ": No such file or directory");
    expectRefusal({command, missing, "--json"}, missing + ": No such file or directory");
    expectRefusal({command, (folder / "mis\nsing").string()}, "mis\\nsing");
  }
}

TEST_F(CommandLineTest, RefusesAFolderWithoutAName) {
  for (const char* command : {"scan", "write"}) expectRefusal({command, ""}, "the folder's name is empty");
}

TEST_F(CommandLineTest, RefusesAFolderWhoseWholePathNobodyKnows) {
  const std::filesystem::path gone = folder / "gone";
  for (const char* name : {".", "../export"}) {
    std::filesystem::create_directory(gone);
    auto call = tool.call({"write", name});
    call.folder = gone;
    call.prepare = [&] { return rmdir(gone.c_str()) == 0; };
    expectRefusal(Program::run(call), "the current folder is gone");
  }
}

TEST_F(CommandLineTest, RefusesAFileInPlaceOfAFolder) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* command : {"scan", "write"}) {
    expectRefusal({command, photo.string()}, photo.string() + ": Not a directory");
    expectRefusal({command, (folder / "pipe").string()}, ": Not a directory");
  }
}

TEST_F(CommandLineTest, RefusesAFolderThatCannotBeRead) {
  // Root reads everything, so the program becomes somebody else.
  std::function<bool()> becomeNobody;
  if (geteuid() == 0) becomeNobody = [] { return setgid(65534) == 0 && setuid(65534) == 0; };
  auto version = tool.call({"--version"});
  version.prepare = becomeNobody;
  if (Program::run(version).status != 0)
    GTEST_SKIP() << "only root can enter the build folder: nothing was tested here";
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
  for (const mode_t mode : {0000u, 0311u, 0644u}) {
    ASSERT_EQ(chmod(place.c_str(), mode), 0);
    for (const char* command : {"scan", "write"}) {
      auto call = tool.call({command, place});
      call.prepare = becomeNobody;
      const auto result = Program::run(call);
      ASSERT_EQ(chmod(place.c_str(), 0755), 0);
      // 0311 can be entered by others but not listed; 0644 can be listed but not entered.
      expectRefusal(result, place + ": Permission denied");
      ASSERT_EQ(chmod(place.c_str(), mode), 0);
    }
  }
  ASSERT_EQ(chmod(place.c_str(), 0755), 0);
}

TEST_F(CommandLineTest, RefusesAStoreThatCannotBeWritten) {
  writeFile(folder / "file", "");
  auto call = tool.call({"write", place});
  call.environment.emplace_back("XDG_DATA_HOME", (folder / "file").string());
  std::erase_if(call.environment, [&](const auto& entry) { return entry.second == tool.store().string(); });
  const auto result = Program::run(call);
  expectRefusal(result, "Not a directory");
  EXPECT_EQ(readFile(folder / "file"), "");
}

TEST_F(CommandLineTest, TakesAFolderWhoseNameBeginsLikeAnOption) {
  writePair(folder / "--json/b.jpg", tinyJpeg());
  auto call = tool.call({"scan", "--json", "--", "--json"});
  call.folder = folder.path();
  const auto result = Program::run(call);
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(oneDocument(result.output).at("mediaCount"), 1);
}

TEST_F(CommandLineTest, MakesEveryFormOfAFolderAbsolute) {
  std::filesystem::create_directory_symlink("export", folder / "link");
  const std::pair<std::string, std::string> forms[] = {
      {"export", "export"},
      {"export/", "export"},
      {"./export//", "export"},
      {"link", "link"},
      {"../" + folder.path().filename().string() + "/link/", "link"},
      {place + "/.", "export"}};
  for (const auto& [given, shown] : forms) {
    auto call = tool.call({"scan", "--json", given});
    call.folder = folder.path();
    const auto result = Program::run(call);
    EXPECT_EQ(result.status, 0) << given << result.errors;
    const auto document = oneDocument(result.output);
    const std::filesystem::path absolute = std::filesystem::canonical(folder.path()) / shown;
    EXPECT_EQ(document.at("folder"), absolute.string()) << given;
    ASSERT_EQ(document.at("mediaCount"), 1) << given;
    EXPECT_EQ(document.at("pairs")[0].at("media"), (absolute / "a.jpg").string()) << given;
  }
}

TEST_F(CommandLineTest, OneJobServesEveryFormOfAFolder) {
  for (const char* given : {"export", "export/", "./export"}) {
    auto call = tool.call({"write", given});
    call.folder = folder.path();
    EXPECT_EQ(Program::run(call).status, 0);
  }
  EXPECT_THAT(tool.jobs(), SizeIs(1));
  EXPECT_EQ(tool.document({"write", place}).at("alreadyDone"), 1);
}

TEST_F(CommandLineTest, AScanPrintsOneLineAPairAndASummary) {
  writeFile(folder / "export/b.png", tinyPng());
  writeFile(folder / "export/c.png", tinyPng());
  writeFile(folder / "export/c.png.json", "no json");
  writeFile(folder / "export/album.json", "{}");
  const auto result = tool.run({"scan", place});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(
      lines(result.output),
      testing::ElementsAre(
          "ready       2015:03:04 05:06:07  a.jpg  <- a.jpg.supplemental-metadata.json",
          "no sidecar  -                    b.png", "unreadable  -                    c.png  <- c.png.json",
          "1 of 3 files have sidecar metadata.", "1 leftover JSON files not paired to media."));
  EXPECT_TRUE(tool.hasNoStore());
}

TEST_F(CommandLineTest, AScanChangesNothing) {
  writeFile(folder / "export/sub/c.png", tinyPng());
  const double before = modificationDate(photo);
  EXPECT_EQ(tool.run({"scan", place}).status, 0);
  EXPECT_EQ(tool.run({"scan", place, "--json"}).status, 0);
  EXPECT_EQ(readFile(photo), tinyJpeg());
  EXPECT_EQ(modificationDate(photo), before);
  EXPECT_EQ(std::distance(std::filesystem::recursive_directory_iterator(place), {}), 4);
  EXPECT_TRUE(tool.hasNoStore());
}

TEST_F(CommandLineTest, AnEmptyFolderIsNoFailure) {
  std::filesystem::create_directory(folder / "empty");
  const auto scanned = tool.run({"scan", (folder / "empty").string()});
  EXPECT_EQ(scanned.status, 0);
  EXPECT_EQ(scanned.output, "No photos or videos in this folder.\n");
  const auto written = tool.run({"write", (folder / "empty").string()});
  EXPECT_EQ(written.status, 0);
  EXPECT_EQ(written.output, "Nothing changed.\n");
}

TEST_F(CommandLineTest, StatusIsOneWhenFilesFailedAndEachIsOneLine) {
  writePair(folder / "export/sub/b\nc\x1b[31m.jpg", tinyJpeg());
  // There is nothing left to write.
  const auto result = tool.run({"write", place, "--no-embedded", "--no-file-dates"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "2 failed\n");
  EXPECT_THAT(lines(result.errors),
              testing::UnorderedElementsAre("tollbrook-cli: a.jpg: Nothing was written",
                                            "tollbrook-cli: sub/b\\nc\\x1b[31m.jpg: Nothing was written"));
  EXPECT_EQ(tool.run({"write", place, "--no-embedded", "--no-file-dates", "--json"}).status, 1);
}

TEST_F(CommandLineTest, FailuresBeyondTheListAreCounted) {
  for (int number = 0; number < 201; ++number) {
    writePair(folder / "export" / std::filesystem::path(std::to_string(number) + ".jpg"), tinyJpeg());
  }
  const auto result = tool.run({"write", place, "--no-embedded", "--no-file-dates"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "202 failed\n");
  ASSERT_THAT(lines(result.errors), SizeIs(201));
  EXPECT_EQ(lines(result.errors).back(), "tollbrook-cli: and 2 more files failed");
}

TEST_F(CommandLineTest, ASignalStopsTheRunWithItsOwnStatus) {
  const std::pair<int, int> statuses[] = {{SIGINT, 130}, {SIGTERM, 143}, {SIGHUP, 129}};
  for (const auto& [signal, status] : statuses) {
    const CommandLine fresh;
    const auto result = stoppedWrite(fresh, place, {}, signal);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.signal, 0) << "it must end by itself";
    EXPECT_EQ(result.output, "Stopped. Finished files are kept; reopen the app to continue the rest.\n");
    EXPECT_EQ(result.errors, "tollbrook-cli: stopped; to continue: tollbrook-cli resume\n");
    EXPECT_EQ(readFile(photo), tinyJpeg());
    EXPECT_EQ(fresh.phase(), "writing");
  }
}

TEST_F(CommandLineTest, AStoppedRunPrintsItsDocument) {
  const auto result = stoppedWrite(tool, place, {"--json"}, SIGTERM);
  EXPECT_EQ(result.status, 143);
  EXPECT_EQ(oneDocument(result.output).at("cancelled"), true);
}

TEST_F(CommandLineTest, AStoppedScanReportsWhatItHasSeen) {
  // Whether somebody still writes a leftover shows after a while only, in each folder anew.
  const auto leftoverIn = [&](int number) {
    return folder / "export" / std::to_string(number) / "b.jpg_exiftool_tmp";
  };
  constexpr int folders = 40;
  for (int number = 0; number < folders; ++number) {
    writeFile(leftoverIn(number), "x");
    writeFile(leftoverIn(number).parent_path() / "b.jpg", tinyJpeg());
  }
  Program program(tool.call({"scan", place, "--json"}));
  const auto hasBegun = [&] {
    for (int number = 0; number < folders; ++number) {
      if (!std::filesystem::exists(leftoverIn(number))) return true;
    }
    return false;
  };
  ASSERT_TRUE(eventually(hasBegun));
  program.send(SIGTERM);
  const auto result = program.wait();
  EXPECT_EQ(result.status, 143);
  const auto seen = oneDocument(result.output).at("mediaCount").get<int>();
  EXPECT_GE(seen, 1);
  EXPECT_LE(seen, folders);
}

TEST_F(CommandLineTest, NoMessageGetsIntoAFileThatTookAClosedStreamsPlace) {
  auto call = tool.call({"write", place, "--no-embedded", "--no-file-dates"});
  call.prepare = [] {
    return close(STDIN_FILENO) == 0 && close(STDOUT_FILENO) == 0 && close(STDERR_FILENO) == 0;
  };
  EXPECT_EQ(Program::run(call).status, 1);
  ASSERT_THAT(tool.jobs(), SizeIs(1));
  EXPECT_EQ(readFile(tool.jobs()[0] / "done.log"), "v1\n");
}

TEST_F(CommandLineTest, MessagesThatNobodyCanTakeStopNoWrite) {
  const Files::Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  if (!full) GTEST_SKIP() << "there is no /dev/full here: nothing was tested";
  writePair(folder / "export/b.jpg", tinyJpeg(), {.takenTime = std::nullopt, .caption = "c"});
  auto call = tool.call({"write", place, "--no-embedded"});
  call.errors = full.get();
  EXPECT_EQ(Program::run(call).status, 1);
  EXPECT_EQ(modificationDate(photo), 1425445567);
  EXPECT_EQ(tool.phase(), "complete");
}

TEST_F(CommandLineTest, SignalsThatTheStarterIgnoresStopNothing) {
  FolderLock lock(place);
  auto call = tool.call({"write", place});
  call.prepare = [] {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_IGN);
    return true;
  };
  Program program(call);
  ASSERT_TRUE(eventually([&] { return tool.phase() == "writing"; }));
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) program.send(number);
  lock.release();
  EXPECT_EQ(program.wait().status, 0);
  EXPECT_EQ(tool.phase(), "complete");
}

}  // namespace
}  // namespace tollbrook::test
