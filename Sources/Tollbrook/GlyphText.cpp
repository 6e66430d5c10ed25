#include "Tollbrook/GlyphText.h"

#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>

namespace tollbrook {
namespace {

// The first code unit behind Latin, Greek, Cyrillic, and punctuation.
constexpr std::size_t endOfGlyphs = 0x2100;

constexpr char16_t ellipsis = u'…';

// Longer than the name of any file.
constexpr std::size_t usualLength = 512;

// Whether a character is always one glyph of its own, from left to right, whatever stands beside it.
bool standsAlone(char16_t unit) {
  const QChar character(unit);
  if (unit >= endOfGlyphs || character.isMark() || !character.isPrint()) return false;
  switch (character.script()) {
    case QChar::Script_Common:
    case QChar::Script_Latin:
    case QChar::Script_Greek:
    case QChar::Script_Cyrillic:
      return character.direction() != QChar::DirR && character.direction() != QChar::DirAL &&
             character.direction() != QChar::DirAN;
    default:
      return false;
  }
}

}  // namespace

GlyphText::GlyphText(const QFont& font)
    : font_(font), metrics_(font), raw_(QRawFont::fromFont(font)), glyphs_(endOfGlyphs) {
  indexes_.reserve(usualLength);
  positions_.reserve(usualLength);
  run_.setRawFont(raw_);
}

const GlyphText::Glyph& GlyphText::glyph(char16_t unit) const {
  static const Glyph none{.index = 0, .advance = 0};
  if (!standsAlone(unit)) return none;
  Glyph& found = glyphs_[unit];
  if (found.advance >= 0) return found;
  const QChar character(unit);
  int count = 1;
  found.advance = 0;
  if (raw_.glyphIndexesForChars(&character, 1, &found.index, &count) && found.index != 0) {
    QPointF advance;
    raw_.advancesForGlyphIndexes(&found.index, &advance, 1);
    found.advance = static_cast<float>(advance.x());
  }
  return found;
}

bool GlyphText::isPlain(const QString& text) const {
  return glyph(ellipsis).index != 0 && std::all_of(text.cbegin(), text.cend(), [this](QChar character) {
           return glyph(character.unicode()).index != 0;
         });
}

double GlyphText::advance(QChar character) const {
  return static_cast<double>(glyph(character.unicode()).advance);
}

double GlyphText::length(const QString& text) const {
  double length = 0;
  for (const QChar character : text) length += advance(character);
  return length;
}

int GlyphText::width(const QString& text) const {
  if (isPlain(text)) return static_cast<int>(std::ceil(length(text)));
  constexpr int roundedOff = 1;
  return metrics_.horizontalAdvance(text) + roundedOff;
}

GlyphText::Ends GlyphText::fitting(const QString& text, double width, Qt::TextElideMode mode) const {
  if (length(text) <= width) return {.left = text.size(), .right = 0};

  // From both ends in turn, or from the left alone, as far as there is room beside the ellipsis.
  Ends ends{.left = 0, .right = 0};
  double room = width - advance(ellipsis);
  while (ends.left + ends.right < text.size()) {
    const bool fromLeft = mode == Qt::ElideRight || ends.left <= ends.right;
    room -= advance(text[fromLeft ? ends.left : text.size() - 1 - ends.right]);
    if (room < 0) break;
    ++(fromLeft ? ends.left : ends.right);
  }
  return ends;
}

QString GlyphText::cut(const QString& text, int width, Qt::TextElideMode mode) const {
  if (!isPlain(text)) return metrics_.elidedText(text, mode, width);
  const Ends ends = fitting(text, width, mode);
  if (ends.left == text.size()) return text;
  return text.first(ends.left) + QChar(ellipsis) + text.last(ends.right);
}

void GlyphText::append(QStringView part, double& x) const {
  for (const QChar character : part) {
    const Glyph& next = glyph(character.unicode());
    indexes_.push_back(next.index);
    positions_.emplace_back(x, 0);
    x += static_cast<double>(next.advance);
  }
}

void GlyphText::draw(QPainter& painter, const QRect& room, Qt::LayoutDirection direction, const QString& text,
                     Qt::TextElideMode mode) const {
  const auto baseline = [&](double length) {
    const int left =
        direction == Qt::RightToLeft ? room.right() + 1 - static_cast<int>(std::ceil(length)) : room.left();
    return QPoint(left, room.top() + metrics_.ascent());
  };
  if (!isPlain(text)) {
    const QString shown = metrics_.elidedText(text, mode, room.width());
    painter.setFont(font_);
    // The painter of a widget takes the widget's direction, which would turn the parts of a date round.
    painter.setLayoutDirection(Qt::LayoutDirectionAuto);
    return painter.drawText(baseline(metrics_.horizontalAdvance(shown)), shown);
  }
  const Ends ends = fitting(text, room.width(), mode);
  indexes_.clear();
  positions_.clear();
  double x = 0;
  append(QStringView(text).first(ends.left), x);
  if (ends.left < text.size()) {
    append(QStringView(&ellipsis, 1), x);
    append(QStringView(text).last(ends.right), x);
  }
  run_.setRawData(indexes_.data(), positions_.data(), static_cast<int>(indexes_.size()));
  painter.drawGlyphRun(baseline(x), run_);
}

}  // namespace tollbrook
