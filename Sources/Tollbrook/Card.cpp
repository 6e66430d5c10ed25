#include "Tollbrook/Card.h"

#include <QPainter>

#include "Tollbrook/Appearance.h"

namespace tollbrook {
namespace {

void paintGround(QWidget& widget, double radius, const QColor& fill, const QColor& border) {
  QPainter painter(&widget);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(border);
  painter.setBrush(fill);
  painter.drawRoundedRect(QRectF(widget.rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

}  // namespace

Card::Card(const QString& name, const QColor& tint, QWidget* parent) : QWidget(parent), tint_(tint) {
  setObjectName(name);
}

void Card::paint(QWidget& widget, double radius, const QColor& fill) {
  paintGround(widget, radius, fill, Appearance::current().hairline);
}

void Card::paintEvent(QPaintEvent*) {
  const Appearance& shades = Appearance::current();
  paintGround(*this, 10, mixed(shades.surface, tint_, 0.08), mixed(shades.hairline, tint_, 0.4));
}

}  // namespace tollbrook
