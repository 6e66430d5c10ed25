#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

using std::string_literals::operator""s;

TEST(Paths, KeepEveryByteOnTheWayThroughAUrl) {
  std::string name = "/photos/";
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '/') name += static_cast<char>(byte);
  }
  EXPECT_EQ(Paths::fromUrl(Paths::toUrl(name)), name);
}

TEST(Paths, AreWrittenIntoAUrlAsOtherProgramsReadThem) {
  EXPECT_EQ(Paths::toUrl("/photos/50% #1? é.jpg").toEncoded(), "file:///photos/50%25%20%231%3F%20%C3%A9.jpg");
}

TEST(Paths, AreNotFoundInAUrlOfAnotherKind) {
  EXPECT_TRUE(Paths::fromUrl(QUrl("https://example.org/photos"_s)).empty());
  EXPECT_TRUE(Paths::fromUrl(QUrl()).empty());
}

TEST(Paths, AreShownWithoutTheBytesThatAreNoText) {
  EXPECT_EQ(Paths::shown("/photos/caf\xe9.jpg"), "/photos/caf\uFFFD.jpg"_s);
  EXPECT_EQ(Paths::shownName("/photos/Łódź"), "Łódź"_s);
  EXPECT_EQ(Paths::shownName("/"), "/"_s);
}

TEST(Paths, AreShownWithoutTheCharactersThatTurnTextRound) {
  for (const char32_t character :
       U"\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069\u200E\u200F\u061C"s) {
    const QString name = "a"_s + QString::fromUcs4(&character, 1) + "gpj.exe"_s;
    EXPECT_EQ(Paths::shown(name.toStdString()), "a\uFFFDgpj.exe"_s) << std::hex << std::uint32_t{character};
    EXPECT_EQ(Paths::shownText(name.toStdString() + ": no"), "a\uFFFDgpj.exe: no"_s);
  }
  // Those that join letters are part of how a name is written.
  EXPECT_EQ(Paths::shownName("/photos/می‌خواهم 👨‍👩‍👧.jpg"),
            "می‌خواهم 👨‍👩‍👧.jpg"_s);
}

TEST(Paths, AreShownInOneLine) {
  EXPECT_EQ(Paths::shownName("/photos/a\nb\r\tc\x7f\x1b.jpg"), "a\uFFFDb\uFFFD\uFFFDc\uFFFD\uFFFD.jpg"_s);
  EXPECT_EQ(Paths::shownText("a\u0085b\u2028c\u2029d: no"), "a\uFFFDb\uFFFDc\uFFFDd: no"_s);
}

TEST(Paths, AreNoMarkupInAToolTip) {
  EXPECT_EQ(Paths::toolTip("IMG_1 <3.jpg"_s), "IMG_1 <3.jpg"_s);
  const QString shown = Paths::toolTip("<img src=x>.jpg"_s);
  EXPECT_TRUE(shown.contains("&lt;img"_s)) << shown.toStdString();
  EXPECT_FALSE(shown.contains("<img"_s));
}

}  // namespace
}  // namespace tollbrook
