#include "Tollbrook/ChipRow.h"

#include <QEvent>
#include <algorithm>

namespace tollbrook {

ChipRow::ChipRow(QWidget* parent) : QWidget(parent), box_(new QBoxLayout(QBoxLayout::LeftToRight, this)) {
  box_->setContentsMargins({});
  box_->setSpacing(8);
}

void ChipRow::add(QWidget* chip) { box_->addWidget(chip, 1); }

// The row's own least width would keep the column from ever getting so narrow that the chips must be stacked.
QSize ChipRow::minimumSizeHint() const { return {widest(), box_->minimumSize().height()}; }

void ChipRow::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  arrange();
}

bool ChipRow::event(QEvent* event) {
  const bool handled = QWidget::event(event);
  if (event->type() == QEvent::LayoutRequest) arrange();
  return handled;
}

void ChipRow::arrange() {
  const int needed = box_->count() * widest() + (box_->count() - 1) * box_->spacing();
  const auto direction = width() < needed ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight;
  if (direction == box_->direction()) return;
  box_->setDirection(direction);
  updateGeometry();
}

int ChipRow::widest() const {
  int widest = 0;
  for (int index = 0; index < box_->count(); ++index) {
    widest = std::max(widest, box_->itemAt(index)->minimumSize().width());
  }
  return widest;
}

}  // namespace tollbrook
