#pragma once

#include <QColor>
#include <QCoreApplication>
#include <QFont>
#include <QPixmap>
#include <QSize>
#include <QString>

#include "TollbrookCore/Models.h"

class QPainter;
class QPoint;

namespace tollbrook {

struct Appearance;

/// The badge that shows a pair's status: a capsule. It is painted, and laid out once, since a table has one
/// in every row.
class StatusPill {
  Q_DECLARE_TR_FUNCTIONS(tollbrook::StatusPill)

 public:
  StatusPill(PairStatus status, const QFont& font, const Appearance& appearance);

  static QString label(PairStatus status);

  const QSize& size() const { return size_; }

  /// Paints the pill with its left upper corner there.
  void paint(QPainter& painter, const QPoint& corner) const;

 private:
  QPixmap drawn(double pixelRatio) const;

  QFont font_;
  QColor colour_;
  QColor ground_;
  QString label_;
  QSize size_;
  mutable QPixmap picture_;
};

}  // namespace tollbrook
