#include <gtest/gtest.h>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

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

TEST(Paths, AreNoMarkupInAToolTip) {
  EXPECT_EQ(Paths::toolTip("IMG_1 <3.jpg"_s), "IMG_1 <3.jpg"_s);
  const QString shown = Paths::toolTip("<img src=x>.jpg"_s);
  EXPECT_TRUE(shown.contains("&lt;img"_s)) << shown.toStdString();
  EXPECT_FALSE(shown.contains("<img"_s));
}

}  // namespace
}  // namespace tollbrook
