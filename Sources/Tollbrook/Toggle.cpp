#include "Tollbrook/Toggle.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <algorithm>

#include "Tollbrook/Style.h"

namespace tollbrook {
namespace {

constexpr int padding = Style::focusRoom;

}  // namespace

Toggle::Toggle(const QString& text, QWidget* parent) : QCheckBox(text, parent) {
  // A "&" in the text is a word of it, and no mark before the letter of a shortcut.
  setShortcut({});
  setAccessibleName(text);
  QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
}

QSize Toggle::sizeHint() const { return sizeFor(fontMetrics().horizontalAdvance(text())); }

QSize Toggle::minimumSizeHint() const {
  int widestWord = 0;
  for (const QString& word : text().split(QLatin1Char(' '))) {
    widestWord = std::max(widestWord, fontMetrics().horizontalAdvance(word));
  }
  return sizeFor(widestWord);
}

QSize Toggle::sizeFor(int labelWidth) const {
  const int width = labelLeft() + labelWidth + padding + 1;
  return {width, heightForWidth(width)};
}

int Toggle::heightForWidth(int width) const {
  const QRect room(0, 0, std::max(1, width - labelLeft() - padding), 1 << 20);
  const int label = fontMetrics().boundingRect(room, Qt::TextWordWrap, text()).height();
  return std::max(label, style()->pixelMetric(QStyle::PM_IndicatorHeight)) + 2 * padding;
}

int Toggle::labelLeft() const {
  return padding + style()->pixelMetric(QStyle::PM_IndicatorWidth) +
         style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing);
}

void Toggle::paintEvent(QPaintEvent*) {
  QStyleOptionButton option;
  initStyleOption(&option);
  QPainter painter(this);
  const int side = style()->pixelMetric(QStyle::PM_IndicatorWidth);
  const int firstLine = std::max(side, fontMetrics().height());
  const QRect box(padding, padding + (firstLine - side) / 2, side, side);
  const QRect label(labelLeft(), padding + (firstLine - fontMetrics().height()) / 2,
                    width() - labelLeft() - padding, height() - 2 * padding);
  const auto placed = [&](const QRect& part) { return QStyle::visualRect(layoutDirection(), rect(), part); };

  QStyleOptionButton indicator = option;
  indicator.rect = placed(box);
  style()->drawPrimitive(QStyle::PE_IndicatorCheckBox, &indicator, &painter, this);
  style()->drawItemText(&painter, placed(label),
                        static_cast<int>(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft)) |
                            Qt::AlignTop | Qt::TextWordWrap,
                        palette(), isEnabled(), text(), foregroundRole());
  Style::drawFocus(painter, *this, rect());
}

}  // namespace tollbrook
