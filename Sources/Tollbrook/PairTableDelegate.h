#pragma once

#include <QFontMetrics>
#include <QPen>
#include <QPixmap>
#include <QStaticText>
#include <QStyledItemDelegate>
#include <array>
#include <memory>
#include <vector>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/StatusPill.h"

class QTableView;

namespace tollbrook {

class PairTableModel;

/// Paints the rows of the table. A text is cut to its column and laid out when it is painted first, and again
/// after its column, the font or the rows have changed; scrolling over rows that were shown before makes
/// nothing.
class PairTableDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  PairTableDelegate(const PairTableModel& model, QTableView& table);

  /// How wide a column has to be for what it usually shows.
  int widthFor(int column) const;
  int rowHeight() const;

  /// To be called when the font or the palette has changed.
  void restyle();

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                 const QModelIndex& index) override;

 private:
  static constexpr int textColumns = 3;

  struct LaidOut {
    QStaticText text;
    int width = -1;  ///< of the column that it was cut for; -1 when it was not yet
  };

  LaidOut& laidOut(const QModelIndex& index, int width) const;
  QRect textRect(const QRect& cell, int column) const;
  void paintGround(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
  const QPixmap& icon(bool video, bool selected) const;
  void forget();

  const PairTableModel& model_;
  QTableView& table_;
  Appearance shades_;
  // Made once: a pen takes memory.
  QPen textPen_;
  QPen absentPen_;
  QPen selectedPen_;
  std::vector<StatusPill> pills_;
  mutable std::array<std::array<QPixmap, 2>, 2> icons_;
  mutable std::vector<std::array<LaidOut, textColumns>> laidOut_;
};

}  // namespace tollbrook
