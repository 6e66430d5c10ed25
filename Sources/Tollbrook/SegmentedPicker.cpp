#include "Tollbrook/SegmentedPicker.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/Palette.h"

namespace tollbrook {
namespace {

constexpr int sidePadding = 14;
constexpr int leastSidePadding = 8;
constexpr int topPadding = 4;
constexpr double groundRadius = 8;
constexpr double segmentRadius = 6;
constexpr int margin = 2;

}  // namespace

Segment::Segment(const QString& text, QWidget* parent) : QRadioButton(text, parent) {
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  setAttribute(Qt::WA_Hover);
}

QSize Segment::sizeHint() const {
  return {fontMetrics().horizontalAdvance(text()) + 2 * sidePadding, fontMetrics().height() + 2 * topPadding};
}

QSize Segment::minimumSizeHint() const {
  return {fontMetrics().horizontalAdvance(text()) + 2 * leastSidePadding, sizeHint().height()};
}

void Segment::paintEvent(QPaintEvent*) {
  const Appearance& shades = Appearance::current();
  QStyleOptionButton option;
  initStyleOption(&option);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const bool touched = option.state.testAnyFlags(QStyle::State_MouseOver | QStyle::State_Sunken);
  const QColor ink = isChecked() ? Palette::ink : shades.text;
  if (isChecked() || touched) {
    const QColor fill = isChecked() ? Palette::amber : shades.track;
    painter.setBrush(touched ? answered(fill, ink, isDown()) : fill);
    painter.drawRoundedRect(rect(), segmentRadius, segmentRadius);
  }
  painter.setPen(ink);
  painter.drawText(rect(), Qt::AlignCenter, text());
  if (hasFocus() && option.state.testFlag(QStyle::State_KeyboardFocusChange)) {
    // Amber would be lost on the amber of the chosen one.
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(isChecked() ? Palette::ink : Palette::amber, 2));
    painter.drawRoundedRect(QRectF(rect()).adjusted(2, 2, -2, -2), segmentRadius - 2, segmentRadius - 2);
  }
}

SegmentedPicker::SegmentedPicker(const QList<Choice>& choices, QWidget* parent) : QWidget(parent) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(margin, margin, margin, margin);
  row->setSpacing(margin);
  for (const auto& [name, text] : choices) {
    auto* segment = new Segment(text, this);
    segment->setObjectName(name);
    const int index = static_cast<int>(segments_.size());
    connect(segment, &QAbstractButton::toggled, this, [this, index](bool on) {
      if (on) Q_EMIT picked(index);
    });
    segments_.append(segment);
    row->addWidget(segment);
  }
}

int SegmentedPicker::current() const {
  for (int index = 0; index < segments_.size(); ++index) {
    if (segments_.at(index)->isChecked()) return index;
  }
  return -1;
}

void SegmentedPicker::setCurrent(int index) { segments_.at(index)->setChecked(true); }

void SegmentedPicker::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Appearance::current().track);
  painter.drawRoundedRect(rect(), groundRadius, groundRadius);
}

}  // namespace tollbrook
