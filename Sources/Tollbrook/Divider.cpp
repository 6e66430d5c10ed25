#include "Tollbrook/Divider.h"

#include <QPainter>

#include "Tollbrook/Appearance.h"

namespace tollbrook {

Divider::Divider(QWidget* parent) : QWidget(parent) { setFixedHeight(1); }

void Divider::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Appearance::current().hairline); }

}  // namespace tollbrook
