#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QTextEdit>
#include <array>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "Desktop/Support/WindowTest.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/SegmentedPicker.h"
#include "Tollbrook/StatusPill.h"
#include "Tollbrook/Style.h"

namespace tollbrook {
namespace {

constexpr double readable = 4.5;

// Once in the system's light palette, once in dark.
class AppearanceTest : public testing::TestWithParam<bool> {
 protected:
  AppearanceTest() {
    if (GetParam()) dark_ = std::make_unique<test::DarkAppearance>();
  }

 private:
  std::unique_ptr<test::DarkAppearance> dark_;
};

INSTANTIATE_TEST_SUITE_P(LightAndDark, AppearanceTest, testing::Bool(),
                         [](const auto& appearance) { return appearance.param ? "Dark" : "Light"; });

TEST(ContrastTest, IsAsWcagCountsIt) {
  EXPECT_NEAR(contrast(Qt::black, Qt::white), 21, 1e-6);
  EXPECT_NEAR(contrast(Qt::white, Qt::white), 1, 1e-6);
  // A published pair: #767676 is the lightest grey that reads on white.
  EXPECT_GE(contrast(QColor(0x76, 0x76, 0x76), Qt::white), 4.5);
  EXPECT_LT(contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.5);
}

TEST_P(AppearanceTest, KnowsWhetherItIsDark) {
  EXPECT_EQ(Appearance(QApplication::palette()).dark, GetParam());
}

TEST_P(AppearanceTest, SetsTheInspectorOneStepOff) {
  const Appearance shades(QApplication::palette());
  const float inspector = shades.chrome.lightnessF();
  const float list = shades.surface.lightnessF();
  EXPECT_TRUE(GetParam() ? inspector > list : inspector < list);
}

TEST_P(AppearanceTest, HasReadableTextOnEveryGround) {
  const Appearance shades(QApplication::palette());
  for (const QColor& ground : {shades.surface, shades.chrome, shades.stripe}) {
    for (const QColor& text : {shades.text, shades.secondaryText, shades.tertiaryText, shades.error}) {
      EXPECT_GE(contrast(text, ground), readable)
          << text.name().toStdString() << " on " << ground.name().toStdString();
    }
  }
  EXPECT_GE(contrast(shades.text, shades.track), readable);
  EXPECT_GE(contrast(shades.tertiaryText, shades.track), readable);
  for (const QPalette::ColorRole role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
    const QColor disabled = QApplication::palette().color(QPalette::Disabled, role);
    for (const QColor& ground : {shades.surface, shades.chrome, shades.track}) {
      EXPECT_GE(contrast(disabled, ground), readable)
          << "disabled " << disabled.name().toStdString() << " on " << ground.name().toStdString();
    }
  }
  EXPECT_GE(contrast(Palette::ink, Palette::amber), readable);
}

TEST_P(AppearanceTest, HasReadableTextUnderThePointer) {
  const Appearance shades(QApplication::palette());
  for (const bool pressed : {false, true}) {
    EXPECT_GE(contrast(Palette::ink, answered(Palette::amber, Palette::ink, pressed)), readable);
    for (const QColor& ground : {shades.surface, shades.chrome, shades.track}) {
      EXPECT_NE(answered(ground, shades.text, pressed), ground);
      EXPECT_GE(contrast(shades.text, answered(ground, shades.text, pressed)), readable);
    }
    // The hint of the card that asks for a folder.
    EXPECT_GE(contrast(shades.secondaryText, answered(shades.surface, shades.text, pressed)), readable);
  }
}

TEST_P(AppearanceTest, HasReadablePills) {
  const Appearance shades(QApplication::palette());
  for (const PairStatus status : test::everyStatus) {
    // Amber is given.
    if (status == PairStatus::ready) continue;
    EXPECT_GE(contrast(shades.status(status), shades.pill(status)), readable)
        << StatusPill::label(status).toStdString();
  }
  EXPECT_EQ(shades.status(PairStatus::ready), Palette::amber);
}

TEST_P(AppearanceTest, HasPillsOfFifteenPercentOfTheirStatus) {
  const Appearance shades(QApplication::palette());
  for (const PairStatus status : test::everyStatus) {
    const QColor pill = shades.pill(status);
    const QColor text = shades.status(status);
    EXPECT_NEAR(pill.redF(), 0.85F * shades.surface.redF() + 0.15F * text.redF(), 0.001);
    EXPECT_NEAR(pill.greenF(), 0.85F * shades.surface.greenF() + 0.15F * text.greenF(), 0.001);
    EXPECT_NEAR(pill.blueF(), 0.85F * shades.surface.blueF() + 0.15F * text.blueF(), 0.001);
  }
}

// Where a colour stands in CIELAB, the space in which a distance of 2 can just be seen (CIE 15).
std::array<double, 3> inLab(const QColor& colour) {
  const auto linear = [](double channel) {
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
  };
  const double red = linear(colour.redF());
  const double green = linear(colour.greenF());
  const double blue = linear(colour.blueF());
  const auto bent = [](double share) {
    return share > 216.0 / 24389 ? std::cbrt(share) : (24389.0 / 27 * share + 16) / 116;
  };
  const double x = bent((0.4124564 * red + 0.3575761 * green + 0.1804375 * blue) / 0.95047);
  const double y = bent(0.2126729 * red + 0.7151522 * green + 0.0721750 * blue);
  const double z = bent((0.0193339 * red + 0.1191920 * green + 0.9503041 * blue) / 1.08883);
  return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

TEST_P(AppearanceTest, TellsEveryTwoStatusesApart) {
  const Appearance shades(QApplication::palette());
  for (const PairStatus one : test::everyStatus) {
    for (const PairStatus other : test::everyStatus) {
      if (one == other) continue;
      const auto from = inLab(shades.status(one));
      const auto to = inLab(shades.status(other));
      EXPECT_GE(std::hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]), 18)
          << StatusPill::label(one).toStdString() << ' ' << StatusPill::label(other).toStdString();
    }
  }
}

TEST_P(AppearanceTest, TellsStatusesApartByHue) {
  const Appearance shades(QApplication::palette());
  const auto hue = [&](PairStatus status) { return shades.status(status).hslHue(); };
  EXPECT_NEAR(hue(PairStatus::unmatched), 25, 10);
  EXPECT_NEAR(hue(PairStatus::fixed), 130, 20);
  EXPECT_TRUE(hue(PairStatus::error) <= 8 || hue(PairStatus::error) >= 352) << hue(PairStatus::error);
  EXPECT_LT(shades.status(PairStatus::skipped).hslSaturationF(), 0.1F);
}

// Themes have dark bars around light lists, or a grey that is neither.
TEST(OddPaletteTest, ReadsEverywhere) {
  struct Theme {
    QColor window, windowText, base, text;
  };
  const QColor grey(0x7E, 0x7E, 0x7E);
  for (const Theme& theme :
       {Theme{Qt::black, Qt::white, Qt::white, Qt::black}, Theme{Qt::white, Qt::black, Qt::black, Qt::white},
        Theme{grey, Qt::black, grey, Qt::black}}) {
    QPalette palette(theme.windowText, theme.window, theme.window, theme.window, theme.window, theme.text,
                     theme.base);
    Style().polish(palette);
    const Appearance shades(palette);
    EXPECT_EQ(shades.dark, theme.text == Qt::white);
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
      for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::ButtonText, QPalette::Text}) {
        for (const QPalette::ColorRole ground : {QPalette::Window, QPalette::Button, QPalette::Base}) {
          EXPECT_GE(contrast(palette.color(group, role), palette.color(group, ground)), readable)
              << theme.base.name().toStdString() << ' ' << group << ' ' << role << ' ' << ground;
        }
        EXPECT_GE(contrast(palette.color(group, role), shades.chrome), readable);
      }
    }
  }
}

TEST_P(AppearanceTest, SelectsInAmber) {
  EXPECT_EQ(QApplication::palette().color(QPalette::Highlight), Palette::amber);
  EXPECT_EQ(QApplication::palette().color(QPalette::HighlightedText), Palette::ink);
}

TEST(PaletteTest, HasTheGivenAmber) {
  EXPECT_NEAR(Palette::amber.redF(), 0.81, 0.005);
  EXPECT_NEAR(Palette::amber.greenF(), 0.52, 0.005);
  EXPECT_NEAR(Palette::amber.blueF(), 0.16, 0.005);
  EXPECT_EQ(Palette::amber.alphaF(), 1.0F);
}

TEST(StatusPillTest, NamesEveryStatus) {
  QStringList labels;
  for (const PairStatus status : test::everyStatus) labels.append(StatusPill::label(status));
  EXPECT_EQ(labels, QStringList({"Ready"_s, "No sidecar"_s, "Already OK"_s, "Fixed"_s, "Failed"_s}));
}

TEST(StatusPillTest, IsAsLargeAsItsLabelAndItsPadding) {
  const QFont font = QApplication::font();
  const QFontMetrics metrics(font);
  const StatusPill pill(PairStatus::fixed, font, Appearance(QApplication::palette()));
  EXPECT_EQ(pill.size(), QSize(metrics.horizontalAdvance("Fixed"_s) + 16, metrics.height() + 6));
}

TEST_P(AppearanceTest, DrawsWhatIsDisabledAsItsText) {
  const QIcon icon = Icons::icon(Icons::Symbol::stop, Palette::ink);
  const QImage image = icon.pixmap(QSize(16, 16), 1, QIcon::Disabled).toImage();
  EXPECT_EQ(image.pixelColor(8, 8).name(), Appearance(QApplication::palette()).tertiaryText.name());
}

class AppearanceOfTheWindowTest : public test::WindowTest {};

TEST_F(AppearanceOfTheWindowTest, SetsMenusOffFromWhatTheyCover) {
  const test::DarkAppearance dark;
  auto* menu = find<QMenu>("fileMenu");
  const QImage image = menu->grab().toImage();
  const QColor edge = image.pixelColor(0, image.height() / 2);
  EXPECT_GT(contrast(edge, Appearance::current().surface), 1.3);
  EXPECT_GT(contrast(edge, Appearance::current().chrome), 1.2);
}

TEST_F(AppearanceOfTheWindowTest, FollowsTheSystemFromLightToDark) {
  addPair("a.jpg");
  scanRoot();
  const auto brightness = [this](const char* name) {
    const QImage image = find(name)->grab().toImage();
    return image.pixelColor(image.width() / 2, image.height() - 2).lightnessF();
  };
  EXPECT_GT(brightness("inspector"), 0.8F);
  EXPECT_GT(brightness("pairs"), 0.8F);
  const test::DarkAppearance dark;
  QCoreApplication::processEvents();
  EXPECT_LT(brightness("inspector"), 0.3F);
  EXPECT_LT(brightness("pairs"), 0.3F);
  const Appearance shades(QApplication::palette());
  for (const QLabel* label : find("inspector")->findChildren<QLabel*>()) {
    EXPECT_GE(contrast(label->palette().color(label->foregroundRole()), shades.chrome), 4.5)
        << label->text().toStdString();
  }
  EXPECT_GE(contrast(find<QTextEdit>("statusLine")->palette().color(QPalette::Text), shades.chrome), 4.5);
}

TEST_F(AppearanceOfTheWindowTest, AnswersAPress) {
  addPair("a.jpg");
  scanRoot();
  const Appearance& shades = Appearance::current();
  const auto* filter = find<SegmentedPicker>("filter");
  const std::vector<std::pair<QAbstractButton*, QColor>> pressed{
      {find<QAbstractButton>("writeButton"), answered(Palette::amber, Palette::ink, true)},
      {filter->segment(0), answered(Palette::amber, Palette::ink, true)},
      {filter->segment(1), answered(shades.track, shades.text, true)},
      {find<QAbstractButton>("folderCard"), answered(shades.surface, shades.text, true)}};
  for (const auto& [button, fill] : pressed) {
    button->setDown(true);
    // Between the edge and what stands on the button.
    const QColor shown = button->grab().toImage().pixelColor(6, button->height() / 2);
    EXPECT_EQ(shown.name(), fill.name()) << button->objectName().toStdString();
    button->setDown(false);
  }
}

TEST_F(AppearanceOfTheWindowTest, ExplainsInAFainterShadeOnButtonsToo) {
  const auto shade = [this](const char* name) {
    const auto* label = find<QLabel>(name);
    return label->palette().color(label->foregroundRole());
  };
  EXPECT_EQ(shade("folderRequest"), Appearance::current().text);
  EXPECT_EQ(shade("folderHint"), Appearance::current().secondaryText);
}

class IconsTest : public testing::TestWithParam<int> {
 protected:
  static Icons::Symbol symbol() { return static_cast<Icons::Symbol>(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(EverySymbol, IconsTest,
                         testing::Range(0, static_cast<int>(Icons::Symbol::application)));

TEST_P(IconsTest, IsTintedAndSharpAtBothScales) {
  const QIcon icon = Icons::icon(symbol(), Palette::amber);
  for (const double scale : {1.0, 2.0}) {
    const QImage image = icon.pixmap(QSize(20, 20), scale).toImage();
    ASSERT_EQ(image.size(), QSize(20, 20) * scale);
    int opaque = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) {
        if (image.pixelColor(x, y).alpha() != 255) continue;
        ++opaque;
        EXPECT_EQ(image.pixelColor(x, y).rgb(), Palette::amber.rgb());
      }
    }
    EXPECT_GT(opaque, 10);
  }
}

}  // namespace
}  // namespace tollbrook
