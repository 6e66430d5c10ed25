#include "Tollbrook/Appearance.h"

#include <QGuiApplication>
#include <algorithm>
#include <cmath>

#include "Tollbrook/Palette.h"

namespace tollbrook {
namespace {

constexpr double readable = 4.5;

double luminance(const QColor& colour) {
  const auto linear = [](double channel) {
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

/// `colour`, moved no further towards `end` than it takes to read.
template <typename Reads>
QColor moved(const QColor& colour, const QColor& end, Reads reads) {
  constexpr int steps = 50;
  for (int step = 0; step < steps; ++step) {
    const QColor shade = mixed(colour, end, static_cast<double>(step) / steps);
    if (reads(shade)) return shade;
  }
  return end;
}

QColor legible(const QColor& colour, const QColor& ground, const QColor& end, double ratio) {
  return moved(colour, end, [&](const QColor& shade) { return contrast(shade, ground) >= ratio; });
}

}  // namespace

double contrast(const QColor& a, const QColor& b) {
  const auto [darker, lighter] = std::minmax({luminance(a), luminance(b)});
  return (lighter + 0.05) / (darker + 0.05);
}

QColor mixed(const QColor& a, const QColor& b, double share) {
  const auto channel = [share](float from, float to) {
    return static_cast<float>(from + (to - from) * share);
  };
  return QColor::fromRgbF(channel(a.redF(), b.redF()), channel(a.greenF(), b.greenF()),
                          channel(a.blueF(), b.blueF()));
}

QColor answered(const QColor& fill, const QColor& text, bool pressed) {
  return mixed(fill, text, pressed ? 0.09 : 0.05);
}

Appearance::Appearance(const QPalette& palette)
    : text(palette.color(QPalette::Active, QPalette::Text)),
      surface(palette.color(QPalette::Active, QPalette::Base)),
      dark(luminance(text) > luminance(surface)),
      chrome(mixed(surface, text, 0.045)),
      stripe(mixed(surface, text, 0.022)),
      hairline(mixed(surface, text, dark ? 0.2 : 0.15)),
      track(mixed(surface, text, dark ? 0.16 : 0.11)),
      secondaryText(legible(mixed(text, chrome, 0.35), chrome, text, 5.2)),
      tertiaryText(legible(mixed(text, chrome, 0.45), track, text, readable)),
      error(status(PairStatus::error)) {}

const Appearance& Appearance::current() {
  static QPalette palette = QGuiApplication::palette();
  static Appearance appearance(palette);
  const QPalette now = QGuiApplication::palette();
  if (now.cacheKey() != palette.cacheKey()) {
    palette = now;
    appearance = Appearance(palette);
  }
  return appearance;
}

QColor Appearance::status(PairStatus status) const {
  // The pill gets nearer to the text with it.
  const auto legibleOnPill = [this](const QColor& hue) {
    return moved(hue, dark ? Qt::white : Qt::black, [this](const QColor& shade) {
      return contrast(shade, mixed(surface, shade, 0.15)) >= readable && contrast(shade, chrome) >= readable;
    });
  };
  switch (status) {
    case PairStatus::ready:
      return Palette::amber;
    case PairStatus::unmatched:
      // In dark a redder one, which is not amber once it is light enough to read.
      return legibleOnPill(dark ? QColor(0xF2, 0x65, 0x22) : QColor(0xC8, 0x6A, 0x00));
    case PairStatus::skipped:
      return legibleOnPill(secondaryText);
    case PairStatus::fixed:
      return legibleOnPill(QColor(0x2E, 0x8B, 0x3D));
    case PairStatus::error:
      return legibleOnPill(QColor(0xD7, 0x2D, 0x2D));
  }
  return text;
}

QColor Appearance::pill(PairStatus status) const { return mixed(surface, this->status(status), 0.15); }

}  // namespace tollbrook
