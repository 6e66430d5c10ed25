#include "Tollbrook/Notice.h"

#include <QPainter>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/Palette.h"

namespace tollbrook {

Notice::Notice(const QString& name, QWidget* parent)
    : WrappingText(QString(), Typography::TextStyle::callout, Tone::primary, parent) {
  setObjectName(name);
  setContentsMargins(20, 8, 20, 8);
  hide();
}

void Notice::say(const QString& text) {
  setText(text);
  setAccessibleName(text);
  show();
}

void Notice::paintEvent(QPaintEvent* event) {
  const Appearance& shades = Appearance::current();
  QPainter painter(this);
  painter.fillRect(rect(), mixed(shades.surface, Palette::amber, 0.15));
  painter.fillRect(0, height() - 1, width(), 1, mixed(shades.hairline, Palette::amber, 0.4));
  painter.end();
  WrappingText::paintEvent(event);
}

}  // namespace tollbrook
