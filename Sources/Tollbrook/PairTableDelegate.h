#pragma once

#include <QFontMetrics>
#include <QPen>
#include <QPixmap>
#include <QStaticText>
#include <QStyledItemDelegate>
#include <array>
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

  /// How wide a column has to be to be of use: for a usual name, a date without its time, a pill.
  int leastWidth(int column) const;
  /// How wide that of the dates has to be to show their times, too.
  int takenWidth() const;
  int rowHeight() const;

  /// What a cell shows: its text, cut to its column.
  QString shown(const QModelIndex& index) const { return laidOut(index).text.text(); }

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

  const LaidOut& laidOut(const QModelIndex& index) const;
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
