#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QTextLayout>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/GlyphText.h"
#include "Tollbrook/TakenDateFormat.h"

namespace tollbrook {
namespace {

class GlyphTextTest : public testing::Test {
 protected:
  // What `draw` leaves on a white page.
  template <typename Draw>
  static QImage page(const Draw& draw) {
    QImage image(400, 40, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setPen(Qt::black);
    painter.setFont(QApplication::font());
    // As on a widget.
    painter.setLayoutDirection(Qt::LeftToRight);
    draw(painter);
    return image;
  }
  QImage drawn(const QString& text, int width = 400) const {
    return page([&](QPainter& painter) {
      glyphs_.draw(painter, room(width), Qt::LeftToRight, text, Qt::ElideMiddle);
    });
  }
  static QRect room(int width) { return {10, 10, width, 30}; }
  QImage drawnByQt(const QString& text) const {
    return laidOut(text, text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight, Qt::AlignLeft);
  }
  // As a whole paragraph of this direction.
  QImage laidOut(const QString& text, Qt::LayoutDirection direction, Qt::Alignment side) const {
    QTextOption option(side | Qt::AlignAbsolute);
    option.setTextDirection(direction);
    QTextLayout layout(text, QApplication::font());
    layout.setTextOption(option);
    layout.beginLayout();
    layout.createLine().setLineWidth(room(400).width());
    layout.endLayout();
    return page([&](QPainter& painter) { layout.draw(&painter, room(400).topLeft()); });
  }

  const QFontMetrics metrics_{QApplication::font()};
  const GlyphText glyphs_{QApplication::font()};
};

TEST_F(GlyphTextTest, LooksAsQtDrawsIt) {
  const QImage empty = page([](QPainter&) {});
  for (const QString& text : {"IMG_1203.HEIC"_s, "28 Sept 2020, 12:04"_s, "—"_s, "Łódź, Ωμέγα, Ёжик"_s}) {
    ASSERT_NE(drawnByQt(text), empty) << text.toStdString();
    EXPECT_EQ(drawn(text), drawnByQt(text)) << text.toStdString();
  }
}

TEST_F(GlyphTextTest, LeavesToQtWhatIsMoreThanGlyphsInARow) {
  for (const QString& text : {"cafe\u0301.jpg"_s, "שלום.jpg"_s, "東京.jpg"_s, "🎉.jpg"_s}) {
    EXPECT_EQ(drawn(text), drawnByQt(text)) << text.toStdString();
  }
}

TEST_F(GlyphTextTest, KeepsTheOrderOfADateInWhicheverScript) {
  for (const char* locale : {"he_IL", "fa_IR"}) {
    const QString date = TakenDateFormat(locale, u"UTC").text(fromEpoch(1425445567));
    ASSERT_NE(laidOut(date, Qt::RightToLeft, Qt::AlignLeft), laidOut(date, Qt::LeftToRight, Qt::AlignLeft));
    EXPECT_EQ(drawn(date), laidOut(date, Qt::RightToLeft, Qt::AlignLeft)) << locale;
  }
}

TEST_F(GlyphTextTest, BeginsAtTheRightWhereLinesDo) {
  const auto drawnFromRight = [&](const QString& text) {
    return page(
        [&](QPainter& painter) { glyphs_.draw(painter, room(300), Qt::RightToLeft, text, Qt::ElideMiddle); });
  };
  const QImage empty = page([](QPainter&) {});
  const int end = room(300).right() + 1;
  for (const QString& text : {"IMG_1203.HEIC"_s, "שלום.jpg"_s}) {
    const QImage image = drawnFromRight(text);
    const int begin = end - metrics_.horizontalAdvance(text) - 1;
    EXPECT_EQ(image.copy(0, 0, begin, 40), empty.copy(0, 0, begin, 40)) << text.toStdString();
    EXPECT_NE(image.copy(end - 20, 0, 20, 40), empty.copy(0, 0, 20, 40)) << text.toStdString();
    EXPECT_EQ(image.copy(end + 1, 0, 50, 40), empty.copy(0, 0, 50, 40)) << text.toStdString();
  }
}

TEST_F(GlyphTextTest, CutsATextWhereItIsToldTo) {
  const QString text = "abcdefghijklmnopqrstuvwxyz"_s;
  for (int width = 0; width <= metrics_.horizontalAdvance(text) + 2; ++width) {
    const QString middle = glyphs_.cut(text, width, Qt::ElideMiddle);
    const QString right = glyphs_.cut(text, width, Qt::ElideRight);
    if (right == text) {
      EXPECT_EQ(middle, text);
      EXPECT_LE(metrics_.horizontalAdvance(text), width + 1);
      continue;
    }
    EXPECT_TRUE(right.endsWith(u'…'));
    EXPECT_TRUE(text.startsWith(right.chopped(1)));
    const QStringList ends = middle.split(u'…');
    ASSERT_EQ(ends.size(), 2);
    EXPECT_TRUE(text.startsWith(ends[0]) && text.endsWith(ends[1]));
    EXPECT_LE(std::abs(ends[0].size() - ends[1].size()), 1);
    for (const QString& cut : {right, middle}) {
      // The ellipsis is never left out.
      EXPECT_TRUE(cut.size() == 1 || metrics_.horizontalAdvance(cut) <= width + 1) << cut.toStdString();
    }
  }
  EXPECT_EQ(glyphs_.cut(text, 1000, Qt::ElideMiddle), text);
}

TEST_F(GlyphTextTest, DrawsWhatItSaysThatItCuts) {
  const QString text = "IMG_1203.HEIC.supplemental-metadata.json"_s;
  const QString cut = glyphs_.cut(text, 100, Qt::ElideMiddle);
  ASSERT_NE(cut, text);
  EXPECT_EQ(drawn(text, 100), drawn(cut));
}

TEST_F(GlyphTextTest, CutsNothingInTheWidthOfAText) {
  for (const QString& text : {"AVA_Type 1203.HEIC"_s, "28 Sept 2020, 00:00 PM"_s, "תמונה 12.jpg"_s,
                              "旅行の写真.jpg"_s, "cafe\u0301.jpg"_s}) {
    EXPECT_EQ(glyphs_.cut(text, glyphs_.width(text), Qt::ElideMiddle), text);
    EXPECT_NE(glyphs_.cut(text, glyphs_.width(text) - 3, Qt::ElideMiddle), text);
  }
}

}  // namespace
}  // namespace tollbrook
