#pragma once

#include <QPen>
#include <QPixmap>
#include <QStyledItemDelegate>
#include <array>
#include <vector>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/GlyphText.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/StatusPill.h"

class QTableView;

namespace tollbrook {

/// Paints the rows of the table. Painting a row takes no memory, whether it was shown before or not, unless
/// its texts are of those that GlyphText leaves to Qt.
class PairTableDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  PairTableDelegate(const PairTableModel& model, QTableView& table);

  /// How wide a column has to be to be of use: for a usual name, a date without its time, a pill.
  int leastWidth(int column) const;
  /// How wide that of the dates has to be to show their times, too.
  int takenWidth() const;
  int rowHeight() const;

  /// What a cell shows: its text, cut to its column.
  QString shown(const QModelIndex& index) const;

  /// To be called when the font or the palette has changed.
  void restyle();

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  /// Room for all of a cell's text.
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                 const QModelIndex& index) override;

 private:
  int textWidth(int column) const;
  const QString& textOf(const PairTableModel::Row& row, int column) const;
  void paintGround(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
  int widestPill() const;
  const QPixmap& icon(bool video, bool selected) const;

  const PairTableModel& model_;
  QTableView& table_;
  Appearance shades_;
  // Made once: a text or a pen takes memory.
  const QString noDate_ = PairTableModel::noDate();
  const QString noSidecar_ = PairTableModel::noSidecar();
  QPen textPen_;
  QPen absentPen_;
  QPen selectedPen_;
  std::vector<StatusPill> pills_;
  mutable std::array<std::array<QPixmap, 2>, 2> icons_;
  GlyphText glyphs_;
};

}  // namespace tollbrook
