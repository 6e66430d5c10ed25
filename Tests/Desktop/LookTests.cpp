#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QLabel>
#include <QLayout>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <optional>

#include "Desktop/Support/WindowTest.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/SegmentedPicker.h"
#include "Tollbrook/Typography.h"

namespace tollbrook {
namespace {

using Icons::Symbol;
using Typography::TextStyle;

class LookTest : public test::WindowTest {
 protected:
  // The widget of this name, or the label with this text in it.
  QWidget* part(const char* name, const char* text) const {
    if (*text == 0) return find(name);
    for (QLabel* label : find(name)->findChildren<QLabel*>()) {
      if (label->text() == QString::fromUtf8(text)) return label;
    }
    throw std::runtime_error(std::string("there is no ") + text);
  }

  // What the widget draws itself, without what is behind it or in it.
  static QImage drawn(QWidget* widget) {
    QImage image(widget->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget->render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
  }
  template <typename Draw>
  static QImage expected(const QSize& size, const Draw& draw) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    draw(painter);
    return image;
  }
};

TEST_F(LookTest, SetsEachTextInItsTypeAndTone) {
  const struct {
    const char* name;
    const char* text;
    TextStyle style;
    QColor Appearance::*colour;
  } texts[] = {
      {"header", "Tollbrook", TextStyle::title, &Appearance::text},
      {"resumeText", "", TextStyle::callout, &Appearance::text},
      {"stats", "This folder", TextStyle::captionSemibold, &Appearance::secondaryText},
      {"mediaCount", "0", TextStyle::title3, &Appearance::text},
      {"mediaCount", "media", TextStyle::caption2, &Appearance::secondaryText},
      {"options", "When writing", TextStyle::captionSemibold, &Appearance::secondaryText},
      {"safety", "Safety", TextStyle::captionSemibold, &Appearance::secondaryText},
      {"currentFile", "", TextStyle::monospacedSmall, &Appearance::secondaryText},
      {"statusLine", "", TextStyle::caption, &Appearance::secondaryText},
      {"lastError", "", TextStyle::callout, &Appearance::error},
      {"shownCount", "", TextStyle::caption, &Appearance::secondaryText},
      {"welcome", "Drop a download folder here", TextStyle::title2, &Appearance::text},
      {"welcome", "Pairs each photo with its JSON, for example:", TextStyle::callout,
       &Appearance::secondaryText},
      {"welcome", "IMG_504.HEIC", TextStyle::monospaced, &Appearance::text},
      {"welcome", "IMG_504.HEIC.supplemental-metadata.json", TextStyle::monospaced, &Appearance::text},
  };
  for (const auto& [name, text, style, colour] : texts) {
    const QWidget* widget = part(name, text);
    const bool isEdit = qobject_cast<const QTextEdit*>(widget) != nullptr;
    EXPECT_EQ(widget->font().key(), Typography::font(style).key()) << name << ' ' << text;
    EXPECT_EQ(widget->palette().color(isEdit ? QPalette::Text : widget->foregroundRole()),
              Appearance::current().*colour)
        << name << ' ' << text;
  }
}

TEST_F(LookTest, SetsTypeInTheseSizes) {
  const double body = Typography::font(TextStyle::body).pointSizeF();
  const struct {
    TextStyle style;
    double points;
    int weight;
  } styles[] = {{TextStyle::title, 22, QFont::DemiBold},           {TextStyle::title2, 17, QFont::Normal},
                {TextStyle::title3, 15, QFont::DemiBold},          {TextStyle::callout, 12, QFont::Normal},
                {TextStyle::monospaced, 13, QFont::Normal},        {TextStyle::caption, 11, QFont::Normal},
                {TextStyle::captionSemibold, 11, QFont::DemiBold}, {TextStyle::caption2, 10, QFont::Normal},
                {TextStyle::monospacedSmall, 11, QFont::Normal}};
  for (const auto& [style, points, weight] : styles) {
    EXPECT_NEAR(Typography::font(style).pointSizeF() / body, points / 13, 0.01) << points;
    EXPECT_EQ(Typography::font(style).weight(), weight) << points;
  }
  EXPECT_EQ(Typography::font(TextStyle::title2).styleHint(), QFont::Serif);
}

TEST_F(LookTest, MarksEachCommandAndStateWithItsSymbol) {
  const struct {
    const char* name;
    Symbol symbol;
    std::optional<QColor> tint;
  } symbols[] = {{"scanFolderToolButton", Symbol::magnifyingGlass, {}},
                 {"writeMetadataToolButton", Symbol::clockWithReturningArrow, {}},
                 {"stopToolButton", Symbol::stop, {}},
                 {"writeButton", Symbol::clockWithReturningArrow, Palette::ink},
                 {"stopButton", Symbol::stop, {}},
                 {"resumeSymbol", Symbol::returningArrow, Palette::amber},
                 {"folderSymbol", Symbol::folder, Palette::amber},
                 {"welcomeSymbol", Symbol::photoStack, Palette::amber},
                 {"noMediaSymbol", Symbol::photoAtAnAngle, Palette::amber}};
  for (const auto& [name, symbol, tint] : symbols) {
    const QIcon icon = tint ? Icons::icon(symbol, *tint) : Icons::icon(symbol);
    if (const auto* button = window_->findChild<QAbstractButton*>(QString::fromUtf8(name))) {
      EXPECT_EQ(button->icon().pixmap(16).toImage(), icon.pixmap(16).toImage()) << name;
      continue;
    }
    QWidget* const view = find(name);
    view->resize(view->sizeHint());
    const auto draw = [&](QPainter& painter) { icon.paint(&painter, view->rect()); };
    EXPECT_EQ(drawn(view), expected(view->size(), draw)) << name;
  }
  EXPECT_EQ(find("welcomeSymbol")->sizeHint(), QSize(Typography::scaled(44), Typography::scaled(44)));
  EXPECT_TRUE(find<QPushButton>("writeButton")->isDefault());
}

TEST_F(LookTest, KeepsTheMeasuresOfTheFilterBar) {
  window_->resize(1600, 800);
  QTest::qWait(0);
  const QWidget* list = find("detailList");
  const auto place = [&](const QWidget* widget) {
    return QRect(widget->mapTo(list, QPoint()), widget->size());
  };
  const QRect picker = place(find("filter"));
  EXPECT_EQ(find("filter")->maximumWidth(), 420);
  EXPECT_EQ(picker.top(), 10);
  // Below is a divider of one point.
  EXPECT_EQ(place(find("content")).top() - 1 - (picker.bottom() + 1), 10);
  EXPECT_EQ(place(part("detailList", "Show")).left(), 14);
  EXPECT_EQ(list->width() - (place(find("shownCount")).right() + 1), 14);
}

TEST_F(LookTest, KeepsTheMeasuresOfAChip) {
  addPair("a.jpg");
  scanRoot();
  QTest::qWait(0);
  QWidget* const chip = find("mediaCount");
  EXPECT_EQ(chip->layout()->contentsMargins(), QMargins(10, 8, 10, 8));
  const auto ground = [&](QPainter& painter) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Appearance::current().hairline);
    painter.setBrush(Appearance::current().surface);
    painter.drawRoundedRect(QRectF(chip->rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
  };
  EXPECT_EQ(drawn(chip), expected(chip->size(), ground));
}

}  // namespace
}  // namespace tollbrook
