#include "Tollbrook/TextLabel.h"

#include <QEvent>

#include "Tollbrook/Appearance.h"

namespace tollbrook {

TextLabel::TextLabel(const QString& text, Typography::TextStyle style, Tone tone, QWidget* parent)
    : QLabel(text, parent), style_(style), tone_(tone) {
  setTextFormat(Qt::PlainText);
  // On a button it would else take the button's colour.
  setForegroundRole(QPalette::WindowText);
  restyle();
  align();
}

void TextLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::LayoutDirectionChange) align();
  if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) {
    restyle();
  }
}

// A label would begin where its own letters do; a number or a name of other letters belongs with the words
// around it.
void TextLabel::align() {
  if (alignment().testFlag(Qt::AlignHCenter)) return;
  setAlignment((isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute | Qt::AlignVCenter);
}

void TextLabel::restyle() {
  setFont(Typography::font(style_));
  const Appearance& appearance = Appearance::current();
  QPalette shades;
  shades.setColor(QPalette::WindowText, tone_ == Tone::primary ? appearance.text : appearance.secondaryText);
  setPalette(shades);
}

}  // namespace tollbrook
