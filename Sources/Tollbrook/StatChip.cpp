#include "Tollbrook/StatChip.h"

#include <QEvent>
#include <QVBoxLayout>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/Card.h"
#include "Tollbrook/TextLabel.h"

namespace tollbrook {

using Typography::TextStyle;

StatChip::StatChip(const QString& label, QWidget* parent)
    : QFrame(parent),
      count_(new TextLabel(QStringLiteral("0"), TextStyle::title3, TextLabel::Tone::primary, this)),
      label_(new TextLabel(label, TextStyle::caption2, TextLabel::Tone::secondary, this)) {
  count_->setObjectName(QStringLiteral("count"));
  label_->setObjectName(QStringLiteral("label"));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(10, 8, 10, 8);
  column->setSpacing(0);
  column->addWidget(count_);
  column->addWidget(label_);
  setCount(0);
}

void StatChip::setCount(std::int64_t count) {
  count_->setText(QString::number(count));
  setAccessibleName(tr("%1 %2").arg(count).arg(label_->text()));
  reserveWidth();
}

void StatChip::paintEvent(QPaintEvent*) { Card::paint(*this, 8, Appearance::current().surface); }

void StatChip::changeEvent(QEvent* event) {
  QFrame::changeEvent(event);
  if (event->type() == QEvent::FontChange) reserveWidth();
}

// A count that changes must not push its neighbours about.
void StatChip::reserveWidth() {
  count_->setMinimumWidth(Typography::digitsWidth(count_->font(), static_cast<int>(count_->text().size())));
}

}  // namespace tollbrook
