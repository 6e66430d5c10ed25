#include "Tollbrook/DropFrame.h"

#include <QPainter>
#include <QStyle>

#include "Tollbrook/Palette.h"

namespace tollbrook {
namespace {

constexpr int fadeMilliseconds = 120;
constexpr double radius = 12;
constexpr double penWidth = 2;
constexpr double insideEdge = 8;

}  // namespace

DropFrame::DropFrame(QWidget* parent) : QWidget(parent), fade_(this, "strength") {
  setObjectName(QStringLiteral("dropFrame"));
  setAttribute(Qt::WA_TransparentForMouseEvents);
  hide();
  connect(&fade_, &QPropertyAnimation::finished, this, [this] { setVisible(strength_ > 0); });
}

void DropFrame::setShown(bool shown) {
  fade_.stop();
  if (shown) {
    raise();
    show();
  }
  // Desktops without motion ask styles for animations of no length.
  const bool moving = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0;
  fade_.setDuration(moving ? fadeMilliseconds : 0);
  fade_.setStartValue(strength_);
  fade_.setEndValue(shown ? 1.0 : 0.0);
  fade_.start();
}

void DropFrame::setStrength(double strength) {
  strength_ = strength;
  update();
}

void DropFrame::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setOpacity(strength_);
  QColor tint = Palette::amber;
  tint.setAlphaF(0.06F);
  painter.setBrush(tint);
  QPen pen(Palette::amber, penWidth);
  pen.setDashPattern({5, 4});
  painter.setPen(pen);
  constexpr double inset = insideEdge + penWidth / 2;
  painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), radius, radius);
}

}  // namespace tollbrook
