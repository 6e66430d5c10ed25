#include "Tollbrook/ElidedLabel.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

#include "Tollbrook/Paths.h"
#include "Tollbrook/Style.h"

namespace tollbrook {
namespace {

constexpr int overhang = 1;  ///< of a last letter that leans out of its width

}  // namespace

ElidedLabel::ElidedLabel(const QString& text, Typography::TextStyle style, Tone tone, QWidget* parent)
    : TextLabel(text, style, tone, parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setFullText(text);
}

void ElidedLabel::setFullText(const QString& text) {
  fullText_ = text;
  setAccessibleName(text);
  updateGeometry();
  elide();
}

void ElidedLabel::makeSelectable() {
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  // The flags alone leave it out of the way of the tab key.
  setFocusPolicy(Qt::StrongFocus);
  setContentsMargins(Style::focusRoom, Style::focusRoom, Style::focusRoom, Style::focusRoom);
}

QSize ElidedLabel::sizeHint() const {
  const QMargins around = contentsMargins();
  return {fontMetrics().horizontalAdvance(fullText_) + around.left() + around.right() + overhang,
          QLabel::sizeHint().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 8, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent* event) {
  TextLabel::paintEvent(event);
  QPainter painter(this);
  Style::drawFocus(painter, *this, rect());
}

// Of itself it draws again only where its caret comes and goes.
void ElidedLabel::focusInEvent(QFocusEvent* event) {
  TextLabel::focusInEvent(event);
  update();
}

void ElidedLabel::focusOutEvent(QFocusEvent* event) {
  TextLabel::focusOutEvent(event);
  update();
}

void ElidedLabel::resizeEvent(QResizeEvent* event) {
  TextLabel::resizeEvent(event);
  elide();
}

void ElidedLabel::changeEvent(QEvent* event) {
  TextLabel::changeEvent(event);
  if (event->type() == QEvent::FontChange) elide();
}

void ElidedLabel::elide() {
  const int room = contentsRect().width() - overhang;
  const QString shown = fontMetrics().elidedText(fullText_, Qt::ElideMiddle, room);
  if (shown != text()) setText(shown);
  setToolTip(shown == fullText_ ? QString() : Paths::toolTip(fullText_));
}

void ElidedLabel::keyPressEvent(QKeyEvent* event) {
  if (!event->matches(QKeySequence::Copy)) return TextLabel::keyPressEvent(event);
  copy();
}

void ElidedLabel::contextMenuEvent(QContextMenuEvent* event) {
  if (!textInteractionFlags().testFlag(Qt::TextSelectableByMouse)) {
    return TextLabel::contextMenuEvent(event);
  }
  auto* menu = new QMenu(this);
  menu->setObjectName(QStringLiteral("copyMenu"));
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addAction(tr("Copy"), this, &ElidedLabel::copy);
  menu->popup(event->globalPos());
}

void ElidedLabel::copy() const {
  const bool part = hasSelectedText() && selectedText() != text();
  QGuiApplication::clipboard()->setText(part ? selectedText() : fullText_);
}

}  // namespace tollbrook
