#include "Tollbrook/SelectableText.h"

#include <QEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextDocument>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/Style.h"

namespace tollbrook {

SelectableText::SelectableText(Typography::TextStyle style, Tone tone, QWidget* parent)
    : QTextEdit(parent), style_(style), tone_(tone) {
  setReadOnly(true);
  setAcceptRichText(false);
  setTabChangesFocus(true);
  // A drop on it is a drop on the window.
  setAcceptDrops(false);
  viewport()->setAcceptDrops(false);
  setFrameShape(QFrame::NoFrame);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  QSizePolicy policy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
  viewport()->setAutoFillBackground(false);
  document()->setDocumentMargin(Style::focusRoom);
  measured_.setDocumentMargin(Style::focusRoom);
  restyle();
  align();
}

void SelectableText::setText(const QString& text) {
  if (text == toPlainText()) return;
  isOld_ = false;
  setPlainText(text);
  measured_.setPlainText(text);
  updateGeometry();
}

void SelectableText::holdHeight(bool held) {
  if (held == held_) return;
  held_ = held;
  isOld_ = held;
  highest_ = 0;
  updateGeometry();
}

void SelectableText::limitHeight(int most) {
  if (most == most_) return;
  most_ = most;
  setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  updateGeometry();
}

QSize SelectableText::sizeHint() const { return {0, fontMetrics().height() + 2 * Style::focusRoom}; }

int SelectableText::heightForWidth(int width) const {
  measured_.setTextWidth(width);
  const int needed = static_cast<int>(std::ceil(measured_.size().height()));
  if (!held_ || isOld_) return std::min(needed, most_);
  highest_ = std::max(highest_, needed);
  return std::min(highest_, most_);
}

void SelectableText::changeEvent(QEvent* event) {
  QTextEdit::changeEvent(event);
  if (event->type() == QEvent::LayoutDirectionChange) align();
  if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) {
    restyle();
  }
}

void SelectableText::paintEvent(QPaintEvent* event) {
  QTextEdit::paintEvent(event);
  QPainter painter(viewport());
  Style::drawFocus(painter, *this, viewport()->rect());
}

// Of itself it draws again only where its caret comes and goes.
void SelectableText::focusInEvent(QFocusEvent* event) {
  QTextEdit::focusInEvent(event);
  viewport()->update();
}

void SelectableText::focusOutEvent(QFocusEvent* event) {
  QTextEdit::focusOutEvent(event);
  viewport()->update();
}

// Where there is nothing to scroll here, the column around it may have.
void SelectableText::wheelEvent(QWheelEvent* event) {
  if (verticalScrollBar()->maximum() == 0) return event->ignore();
  QTextEdit::wheelEvent(event);
}

// The ring that shows the focus does not move with the text.
void SelectableText::scrollContentsBy(int dx, int dy) {
  QTextEdit::scrollContentsBy(dx, dy);
  viewport()->update();
}

// Like the labels: a text would else begin where its own letters do.
void SelectableText::align() {
  QTextOption option((isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute);
  option.setWrapMode(wordWrapMode());
  for (QTextDocument* lines : {document(), &measured_}) lines->setDefaultTextOption(option);
}

void SelectableText::restyle() {
  setFont(Typography::font(style_));
  const Appearance& appearance = Appearance::current();
  QPalette shades;
  shades.setColor(QPalette::Text, tone_ == Tone::error ? appearance.error : appearance.secondaryText);
  setPalette(shades);
  measured_.setDefaultFont(font());
  updateGeometry();
}

}  // namespace tollbrook
