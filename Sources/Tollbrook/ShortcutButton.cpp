#include "Tollbrook/ShortcutButton.h"

#include <QStyleOptionButton>
#include <QStylePainter>

#include "Tollbrook/Palette.h"

namespace tollbrook {
namespace {

constexpr int gap = 12;

}  // namespace

ShortcutButton::ShortcutButton(const QString& text, const QKeySequence& shortcut, QWidget* parent)
    : QPushButton(text, parent), shortcut_(shortcut.toString(QKeySequence::NativeText)) {
  setAccessibleDescription(shortcut_);
}

QSize ShortcutButton::sizeHint() const {
  return QPushButton::sizeHint() + QSize(gap + fontMetrics().horizontalAdvance(shortcut_), 0);
}

void ShortcutButton::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionButton option;
  initStyleOption(&option);
  painter.drawControl(QStyle::CE_PushButtonBevel, option);

  const int words = fontMetrics().horizontalAdvance(text());
  const int keys = fontMetrics().horizontalAdvance(shortcut_);
  QRect line(0, 0, words + gap + keys, height());
  line.moveCenter(rect().center());
  const auto placed = [&](const QRect& part) { return QStyle::visualRect(layoutDirection(), line, part); };
  painter.setPen(isDefault() ? Palette::ink : palette().color(QPalette::ButtonText));
  painter.drawText(placed({line.left(), 0, words + 1, height()}), Qt::AlignLeft | Qt::AlignVCenter, text());
  painter.drawText(placed({line.left() + words + gap, 0, keys + 1, height()}),
                   Qt::AlignLeft | Qt::AlignVCenter, shortcut_);
}

}  // namespace tollbrook
