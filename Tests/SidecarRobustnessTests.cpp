#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Support/Encodings.h"
#include "Support/Instrumented.h"
#include "Support/TemporaryFolder.h"
#include "TollbrookCore/SidecarParser.h"

namespace tollbrook::SidecarParser {
namespace {

using test::TemporaryFolder;
using test::wideEncodings;

// Every kind of damage

constexpr std::string_view seeds[] = {
    R"({"title": "IMG_504.HEIC", "description": " é😀\u00e9\n", "photoTakenTime": {"timestamp": "1577836800"},
"geoDataExif": {"latitude": 48.1, "longitude": "11.5", "altitude": 519.0}})",
    R"({"creationTime": {"timestamp": 1600000000.5}, "geoData": {"latitude": 0.0, "longitude": 0.0}})",
    R"({"photoTakenTime": {"timestamp": 99999999999999999999}, "description": "\ud83d\ude00 \\ \" ", "x": [[[]], {}]})",
    R"({"title": "", "geoData": {"latitude": "0x1p3", "longitude": "-inf", "altitude": null}, "title": "nan"})"};

constexpr std::string_view pieces[] = {"{",
                                       "}",
                                       "[",
                                       "]",
                                       ":",
                                       ",",
                                       "\"",
                                       "\\",
                                       "\\u",
                                       "\\ud800",
                                       "\n",
                                       " ",
                                       "0",
                                       "1",
                                       "-",
                                       "+",
                                       ".",
                                       "e9",
                                       "99999999999999999999",
                                       "1e999",
                                       "\"timestamp\":",
                                       "\"title\":",
                                       "\"geoData\":{",
                                       "true",
                                       "null",
                                       "nan",
                                       "é",
                                       "😀",
                                       "\xff",
                                       "\xed\xa0\x80"};

std::string mutated(std::mt19937& random) {
  std::string text(seeds[random() % std::size(seeds)]);
  for (auto edits = random() % 4; edits > 0 && !text.empty(); --edits) {
    const std::size_t place = random() % text.size();
    switch (random() % 5) {
      case 0:
        text[place] = static_cast<char>(static_cast<unsigned char>(random()));
        break;
      case 1:
        text.insert(place, pieces[random() % std::size(pieces)]);
        break;
      case 2:
        text.erase(place, random() % 8 + 1);
        break;
      case 3:
        text.insert(place, text.substr(random() % text.size(), random() % 40));
        break;
      default:
        text.resize(place);
    }
  }
  return text;
}

/// The result as text, because NaN is not equal to itself.
std::string shown(const std::optional<SidecarData>& data) {
  if (!data) return "none";
  std::string text;
  const auto add = [&text](const std::optional<double>& value) {
    text += value ? fmt::format("{:a}|", *value) : "absent|";
  };
  add(data->takenTime ? std::optional(secondsSinceEpoch(*data->takenTime)) : std::nullopt);
  add(data->latitude);
  add(data->longitude);
  add(data->altitude);
  return text + data->title.value_or("absent") + "|" + data->caption.value_or("absent");
}

/// Unicode Standard, table 3-7.
bool isWellFormed(std::string_view utf8) {
  for (std::size_t i = 0; i < utf8.size();) {
    const auto byte = [&utf8](std::size_t k) {
      return k < utf8.size() ? static_cast<unsigned char>(utf8[k]) : 0u;
    };
    const unsigned first = byte(i);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length == 0) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((byte(i + k) & 0xC0) != 0x80) return false;
    }
    if (first == 0xE0 && byte(i + 1) < 0xA0) return false;
    if (first == 0xED && byte(i + 1) > 0x9F) return false;
    if (first == 0xF0 && byte(i + 1) < 0x90) return false;
    if (first == 0xF4 && byte(i + 1) > 0x8F) return false;
    i += length;
  }
  return true;
}

/// Whether the encoding can be told without a byte-order mark.
bool beginsWithTwoAsciiCharacters(std::string_view text) {
  const auto isAscii = [&text](std::size_t i) {
    return text[i] > 0 && static_cast<unsigned char>(text[i]) < 0x80;
  };
  return text.size() >= 2 && isAscii(0) && isAscii(1);
}

TEST(DamagedSidecars, GiveTheSameResultInEveryEncoding) {
  std::mt19937 random(20);
  int withResult = 0;
  int compared = 0;
  for (int i = 0; i < 50'000; ++i) {
    const std::string text = mutated(random);
    const std::string result = shown(parseData(text));
    if (result != "none") ++withResult;
    if (!isWellFormed(text)) {
      ASSERT_EQ(result, "none") << text;
      continue;
    }
    ++compared;
    for (const auto& encoding : wideEncodings) {
      const std::string wide = encoded(text, encoding);
      ASSERT_EQ(shown(parseData(byteOrderMark(encoding) + wide)), result) << encoding.name << "\n" << text;
      if (!beginsWithTwoAsciiCharacters(text)) continue;
      ASSERT_EQ(shown(parseData(wide)), result) << encoding.name << "\n" << text;
    }
  }
  EXPECT_GT(withResult, 10'000);
  EXPECT_GT(compared, 30'000);
}

TEST(DamagedSidecars, AreSurvivedInWideEncodingsToo) {
  std::mt19937 random(21);
  int withResult = 0;
  for (int i = 0; i < 50'000; ++i) {
    const auto& encoding = wideEncodings[random() % std::size(wideEncodings)];
    std::string text = encoded(seeds[random() % std::size(seeds)], encoding);
    if (random() % 2 == 0) text = byteOrderMark(encoding) + text;
    for (auto edits = random() % 3; edits > 0 && !text.empty(); --edits) {
      const std::size_t place = random() % text.size();
      if (random() % 4 == 0) {
        text.resize(place);
      } else {
        text[place] = static_cast<char>(static_cast<unsigned char>(random()));
      }
    }
    if (parseData(text)) ++withResult;
  }
  EXPECT_GT(withResult, 15'000);
}

TEST(DamagedSidecars, OfAnyBytesAreSurvived) {
  std::mt19937 random(22);
  for (int i = 0; i < 20'000; ++i) {
    std::string text(random() % 200, '\0');
    for (char& c : text) c = static_cast<char>(static_cast<unsigned char>(random()));
    EXPECT_EQ(shown(parseData(text)), "none");
  }
}

// A collection of broken sidecars

struct Expectation {
  std::string name;
  std::string status;
  std::string takenTime;
};

std::vector<Expectation> expectations(const std::filesystem::path& list) {
  std::vector<Expectation> all;
  std::ifstream stream(list);
  std::string line;
  std::getline(stream, line);
  while (std::getline(stream, line)) {
    std::istringstream fields(line);
    Expectation expectation;
    std::getline(fields, expectation.name, '\t');
    std::getline(fields, expectation.status, '\t');
    std::getline(fields, expectation.takenTime, '\t');
    all.push_back(expectation);
  }
  return all;
}

TEST(BrokenSidecarCollection, GivesWhatItsListSays) {
  const std::filesystem::path folder = std::filesystem::path(TOLLBROOK_CORPUS) / "broken" / "sidecars";
  const std::vector<Expectation> all = expectations(folder / "EXPECTED.tsv");
  if (all.empty())
    GTEST_SKIP() << "the sample files are not here: TOLLBROOK_CORPUS names no folder with them";
  for (const Expectation& expected : all) {
    SCOPED_TRACE(expected.name);
    const std::filesystem::path file = folder / (expected.name + ".jpg.supplemental-metadata.json");
    ASSERT_TRUE(std::filesystem::is_regular_file(file));
    const std::optional<SidecarData> data = parseFile(file);
    const bool isReady = data && data->hasAnything();
    if (expected.status != "either") {
      EXPECT_EQ(isReady ? "ready" : "unmatched", expected.status);
    }
    if (!isReady || expected.takenTime.empty()) continue;
    ASSERT_TRUE(data->takenTime);
    EXPECT_EQ(secondsSinceEpoch(*data->takenTime), std::stod(expected.takenTime));
  }
}

// Very large sidecars, and what reading them costs

/// The largest resident size of a child process that does `work`, in whatever unit the system counts. Fails
/// the test when the child dies or `work` gives anything but `expected`.
long peakOf(const std::function<bool()>& work, bool expected = true) {
  const pid_t child = fork();
  if (child == 0) _exit(work() == expected ? 0 : 1);
  int status = -1;
  rusage usage{};
  EXPECT_EQ(wait4(child, &status, 0, &usage), child);
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "not the expected result";
  return usage.ru_maxrss;
}

/// Reading `file` gives usable data or not, as expected, and takes at most `most` times its size of memory.
void expectModestMemory(const std::filesystem::path& file, bool expected, double most = 16) {
  const std::size_t size = std::filesystem::file_size(file);
  const long idle = peakOf([] { return true; });
  const long once = peakOf([size] {
    std::string block(size, 'x');
    asm volatile("" : : "r"(block.data()) : "memory");
    return true;
  });
  const long reading = peakOf(
      [&file] {
        const auto data = parseFile(file);
        return data && data->hasAnything();
      },
      expected);
  const double times = static_cast<double>(reading - idle) / static_cast<double>(once - idle);
  std::printf("  %-32s %11zu bytes, %5.1f x\n", file.filename().c_str(), size, times);
  if (!test::isInstrumented) {
    EXPECT_LT(times, most);
  }
}

class LargeSidecars : public testing::Test {
 protected:
  static constexpr int megabytes = test::isInstrumented ? 5 : 50;
  static constexpr std::size_t size = megabytes * std::size_t{1'000'000};

  /// `head`, as much of `block` as makes it large, `tail`.
  std::filesystem::path large(std::string_view head, std::string_view block, std::string_view tail) {
    std::filesystem::path file = folder_ / "large.json";
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << head;
    std::string chunk;
    while (chunk.size() < 1'000'000) chunk += block;
    for (std::size_t written = 0; written < size; written += chunk.size()) stream << chunk;
    stream << tail;
    EXPECT_TRUE(stream.flush().good());
    return file;
  }

  std::filesystem::path largeIn(const test::TextEncoding& encoding, std::string_view head,
                                std::string_view block, std::string_view tail) {
    return large(byteOrderMark(encoding) + encoded(head, encoding), encoded(block, encoding),
                 encoded(tail, encoding));
  }

  TemporaryFolder folder_;
};

constexpr std::string_view time = R"("photoTakenTime": {"timestamp": "1577836800"})";
const std::string start = "{" + std::string(time) + ", ";

TEST_F(LargeSidecars, AHugeNumberAsTextIsInfinite) {
  expectModestMemory(large(R"({"photoTakenTime": {"timestamp": ")", "1", R"("}})"), true);
}

TEST_F(LargeSidecars, AHugeNumberIsRefused) {
  expectModestMemory(large(R"({"photoTakenTime": {"timestamp": )", "1", "}}"), false);
}

TEST_F(LargeSidecars, AHugeFractionIsTaken) {
  expectModestMemory(large(R"({"photoTakenTime": {"timestamp": 1.)", "1", "}}"), true);
}

TEST_F(LargeSidecars, AHugeCaptionIsKept) {
  expectModestMemory(large(start + R"("description": ")", "x", "\"}"), true);
}

TEST_F(LargeSidecars, AHugeCaptionOfEscapesIsKept) {
  expectModestMemory(large(start + R"("description": ")", R"(\u00e9)", "\"}"), true);
}

TEST_F(LargeSidecars, AHugeCaptionOfSpacesIsTrimmed) {
  expectModestMemory(large(start + R"("description": ")", " ", "\"}"), true);
}

TEST_F(LargeSidecars, AHugeTitleIsKept) {
  expectModestMemory(large(start + R"("title": ")", "x", "\"}"), true);
}

TEST_F(LargeSidecars, ManyKeysAreRead) { expectModestMemory(large(start, R"("k":0,)", R"("k":0})"), true); }

TEST_F(LargeSidecars, ManyTimesTheSameObjectIsRead) {
  expectModestMemory(large("{", std::string(time) + ",", std::string(time) + "}"), true);
}

TEST_F(LargeSidecars, ManyEmptyObjectsAreRead) {
  expectModestMemory(large(start + "\"x\": [", "{},", "[]]}"), true);
}

TEST_F(LargeSidecars, ManySmallNumbersAreRead) {
  expectModestMemory(large(start + "\"x\": [", "1,", "1]}"), true);
}

TEST_F(LargeSidecars, ManyEmptyObjectsBesideALongIntegerAreRead) {
  expectModestMemory(large(start + "\"x\": [99999999999999999999, ", "{},", "[]]}"), true);
}

TEST_F(LargeSidecars, ManyLongIntegersAreRead) {
  expectModestMemory(large(start + "\"x\": [", "99999999999999999999,", "1]}"), true);
}

TEST_F(LargeSidecars, EndlessNestingIsRefused) {
  expectModestMemory(large(start + "\"x\": ", "[", ""), false);
}

TEST_F(LargeSidecars, EndlessNestingOfObjectsIsRefused) {
  expectModestMemory(large(start + "\"x\": ", R"({"x":)", ""), false);
}

TEST_F(LargeSidecars, AStringThatNeverEndsIsRefused) {
  expectModestMemory(large(start + "\"x\": \"", "x", ""), false);
}

TEST_F(LargeSidecars, EndlessQuotesAreRefused) {
  expectModestMemory(large(start + "\"x\": ", "\"\"", ""), false);
}

TEST_F(LargeSidecars, EndlessCommasAreRefused) {
  expectModestMemory(large(start + "\"x\": [", ",", "]}"), false);
}

TEST_F(LargeSidecars, ZerosAreRefused) {
  expectModestMemory(large("{}", std::string_view("\0", 1), ""), false);
}

TEST_F(LargeSidecars, WideTextIsRead) {
  for (const auto& encoding : wideEncodings) {
    expectModestMemory(largeIn(encoding, start + R"("description": ")", "中", "\"}"), true);
    expectModestMemory(largeIn(encoding, start + "\"x\": [", "{},", "[]]}"), true);
  }
}

TEST_F(LargeSidecars, LeaveNoMemoryBehind) {
  const std::filesystem::path file = large(start + "\"x\": [", "1,", "1]}");
  // Readers that stay, as those of a program's threads do.
  const auto afterwards = [&file](int threads) {
    return peakOf([&file, threads] {
      std::vector<Reader> readers(static_cast<std::size_t>(threads));
      for (Reader& reader : readers) {
        if (!reader.read(-1, file.c_str())) return false;
      }
      return true;
    });
  };
  const long one = afterwards(1);
  const long four = afterwards(4);
  if (!test::isInstrumented) {
    EXPECT_LT(four, one + one / 2);
  }
}

TEST_F(LargeSidecars, OfTheGeneratorAreSurvived) {
  const std::filesystem::path script = std::filesystem::path(TOLLBROOK_TOOLS) / "make-large-json.py";
  if (!std::filesystem::exists(script))
    GTEST_SKIP() << "the generator is not here: TOLLBROOK_TOOLS names no folder with it";
  const TemporaryFolder made;
  const std::string command =
      fmt::format("python3 '{}' '{}' --megabytes {}", script.string(), made.path().string(), megabytes);
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::pair<const char*, bool> cases[] = {
      {"long number", true}, {"long literal", false}, {"long caption", true}, {"long title", true},
      {"many keys", true},   {"deep", false},         {"open string", false}};
  for (const auto& [name, expected] : cases)
    expectModestMemory(made / (std::string(name) + ".jpg.json"), expected);
}

}  // namespace
}  // namespace tollbrook::SidecarParser
