#include "Tollbrook/Typography.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetrics>
#include <QGuiApplication>
#include <algorithm>
#include <cmath>

namespace tollbrook::Typography {
namespace {

QFont resized(QFont font, double points) {
  const QFont base = QGuiApplication::font();
  const double ratio = points / 13;
  if (base.pixelSize() > 0) {
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(base.pixelSize() * ratio))));
  } else {
    font.setPointSizeF(base.pointSizeF() * ratio);
  }
  return font;
}

QFont plain(double points) { return resized(QGuiApplication::font(), points); }

QFont semibold(double points) {
  QFont font = plain(points);
  font.setWeight(QFont::DemiBold);
  return font;
}

QFont serif(double points) {
  QFont font = plain(points);
  font.setFamilies({QStringLiteral("serif"), QStringLiteral("New York")});
  font.setStyleHint(QFont::Serif);
  font.setWeight(QFont::Normal);
  return font;
}

QFont fixed(double points) { return resized(QFontDatabase::systemFont(QFontDatabase::FixedFont), points); }

}  // namespace

QFont font(TextStyle style) {
  switch (style) {
    case TextStyle::title:
      return semibold(22);
    case TextStyle::title2:
      return serif(17);
    case TextStyle::title3:
      return semibold(15);
    case TextStyle::body:
      return plain(13);
    case TextStyle::bodySemibold:
      return semibold(13);
    case TextStyle::monospaced:
      return fixed(13);
    case TextStyle::callout:
      return plain(12);
    case TextStyle::caption:
      return plain(11);
    case TextStyle::captionSemibold:
      return semibold(11);
    case TextStyle::caption2:
      return plain(10);
    case TextStyle::monospacedSmall:
      return fixed(11);
  }
  return {};
}

int scaled(double points) {
  return static_cast<int>(std::lround(points * QFontInfo(QGuiApplication::font()).pixelSize() / 13.0));
}

int digitsWidth(const QFont& font, int digits) {
  const QFontMetrics metrics(font);
  int widest = 0;
  for (char16_t digit = u'0'; digit <= u'9'; ++digit) {
    widest = std::max(widest, metrics.horizontalAdvance(QChar(digit)));
  }
  return widest * digits;
}

}  // namespace tollbrook::Typography
