#include "Tollbrook/IconView.h"

#include <QEvent>
#include <QPainter>

#include "Tollbrook/Typography.h"

namespace tollbrook {

IconView::IconView(const QIcon& icon, double points, QWidget* parent)
    : QWidget(parent), icon_(icon), points_(points) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

QSize IconView::sizeHint() const {
  const int side = Typography::scaled(points_);
  return {side, side};
}

void IconView::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::FontChange) updateGeometry();
}

void IconView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  if (pointsOnwards_ && isRightToLeft()) {
    painter.translate(width(), 0);
    painter.scale(-1, 1);
  }
  icon_.paint(&painter, rect(), Qt::AlignCenter, isEnabled() ? QIcon::Normal : QIcon::Disabled);
}

}  // namespace tollbrook
