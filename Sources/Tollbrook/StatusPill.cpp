#include "Tollbrook/StatusPill.h"

#include <QFontMetrics>
#include <QPainter>

#include "Tollbrook/Appearance.h"

namespace tollbrook {
namespace {

constexpr int sidePadding = 8;
constexpr int topPadding = 3;

}  // namespace

StatusPill::StatusPill(PairStatus status, const QFont& font, const Appearance& appearance)
    : font_(font),
      colour_(appearance.status(status)),
      ground_(appearance.pill(status)),
      label_(label(status)) {
  const QFontMetrics metrics(font_);
  size_ = {metrics.horizontalAdvance(label_) + 2 * sidePadding, metrics.height() + 2 * topPadding};
}

QString StatusPill::label(PairStatus status) {
  switch (status) {
    case PairStatus::ready:
      return tr("Ready");
    case PairStatus::unmatched:
      return tr("No sidecar");
    case PairStatus::skipped:
      return tr("Already OK");
    case PairStatus::fixed:
      return tr("Fixed");
    case PairStatus::error:
      return tr("Failed");
  }
  return {};
}

void StatusPill::paint(QPainter& painter, const QPoint& corner) const {
  const double pixelRatio = painter.device()->devicePixelRatio();
  if (picture_.isNull() || picture_.devicePixelRatio() != pixelRatio) picture_ = drawn(pixelRatio);
  painter.drawPixmap(corner, picture_);
}

QPixmap StatusPill::drawn(double pixelRatio) const {
  QPixmap picture(size_ * pixelRatio);
  picture.setDevicePixelRatio(pixelRatio);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(ground_);
  const QRect capsule(QPoint(), size_);
  const double radius = size_.height() / 2.0;
  painter.drawRoundedRect(capsule, radius, radius);
  painter.setPen(colour_);
  painter.setFont(font_);
  painter.drawText(capsule, Qt::AlignCenter, label_);
  return picture;
}

}  // namespace tollbrook
