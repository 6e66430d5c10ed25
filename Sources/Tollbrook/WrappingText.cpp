#include "Tollbrook/WrappingText.h"

#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <cmath>

namespace tollbrook {
namespace {

constexpr int usualLetters = 60;
constexpr int leastLetters = 8;

}  // namespace

WrappingText::WrappingText(const QString& text, Typography::TextStyle style, Tone tone, QWidget* parent)
    : TextLabel(text, style, tone, parent) {
  setWordWrap(true);
}

QSize WrappingText::sizeHint() const {
  const int width = usualLetters * fontMetrics().averageCharWidth();
  return {width, heightForWidth(width)};
}

QSize WrappingText::minimumSizeHint() const {
  const QMargins around = contentsMargins();
  return {leastLetters * fontMetrics().averageCharWidth() + around.left() + around.right(),
          fontMetrics().height() + around.top() + around.bottom()};
}

int WrappingText::heightForWidth(int width) const {
  const QMargins around = contentsMargins();
  QTextLayout lines;
  return setOut(lines, width - around.left() - around.right()) + around.top() + around.bottom();
}

void WrappingText::paintEvent(QPaintEvent*) {
  QTextLayout lines;
  const QRect room = contentsRect();
  const int height = setOut(lines, room.width());
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  lines.draw(&painter, QPointF(room.left(), room.top() + std::max(0, (room.height() - height) / 2)));
}

/// Breaks the text into lines of this width. Returns their height.
int WrappingText::setOut(QTextLayout& lines, int width) const {
  QTextOption option(alignment());
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  option.setTextDirection(layoutDirection());
  lines.setTextOption(option);
  lines.setFont(font());
  lines.setText(text());
  double height = 0;
  lines.beginLayout();
  for (QTextLine line = lines.createLine(); line.isValid(); line = lines.createLine()) {
    line.setLineWidth(width);
    line.setPosition({0, height});
    height += line.height();
  }
  lines.endLayout();
  return static_cast<int>(std::ceil(height));
}

}  // namespace tollbrook
