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
}

void TextLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) {
    restyle();
  }
}

void TextLabel::restyle() {
  setFont(Typography::font(style_));
  const Appearance& appearance = Appearance::current();
  QPalette shades;
  shades.setColor(QPalette::WindowText, tone_ == Tone::primary ? appearance.text : appearance.secondaryText);
  setPalette(shades);
}

}  // namespace tollbrook
