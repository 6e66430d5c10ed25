#include "Tollbrook/PairTableDelegate.h"

#include <QEvent>
#include <QHelpEvent>
#include <QPainter>
#include <QTableView>
#include <QToolTip>
#include <algorithm>

#include "Tollbrook/Icons.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/Typography.h"

namespace tollbrook {
namespace {

constexpr int cellPadding = 8;
constexpr int iconPoints = 16;
constexpr int leastRowHeight = 28;

int iconSide() { return Typography::scaled(iconPoints); }

int halfwayDown(const QRect& cell, int height) { return cell.top() + (cell.height() - height) / 2; }

/// Where a cell's text begins, from the cell's left; from its right, where lines begin there.
int textLeft(int column) {
  return column == PairTableModel::file ? cellPadding + iconSide() + cellPadding : cellPadding;
}

/// Of a name its ends say most; of a date, its beginning.
Qt::TextElideMode cutOf(int column) {
  return column == PairTableModel::taken ? Qt::ElideRight : Qt::ElideMiddle;
}

}  // namespace

PairTableDelegate::PairTableDelegate(const PairTableModel& model, QTableView& table)
    : QStyledItemDelegate(&table),
      model_(model),
      table_(table),
      shades_(Appearance::current()),
      glyphs_(table.font()) {
  restyle();
}

void PairTableDelegate::restyle() {
  shades_ = Appearance::current();
  textPen_ = QPen(shades_.text);
  absentPen_ = QPen(shades_.tertiaryText);
  selectedPen_ = QPen(Palette::ink);
  pills_.clear();
  for (const PairStatus status : {PairStatus::ready, PairStatus::unmatched, PairStatus::skipped,
                                  PairStatus::fixed, PairStatus::error}) {
    pills_.emplace_back(status, Typography::font(Typography::TextStyle::captionSemibold), shades_);
  }
  icons_ = {};
  glyphs_ = GlyphText(table_.font());
}

int PairTableDelegate::leastWidth(int column) const {
  const int around = textLeft(column) + cellPadding;
  switch (column) {
    case PairTableModel::file:
      return around + glyphs_.width(QStringLiteral("IMG_1234.HEIC"));
    case PairTableModel::taken:
      return around + glyphs_.width(QStringLiteral("28 Sept 2020,…"));
    case PairTableModel::sidecar:
      return around + glyphs_.width(noSidecar_);
    default:
      return around + widestPill();
  }
}

int PairTableDelegate::widestPill() const {
  int widest = 0;
  for (const StatusPill& pill : pills_) widest = std::max(widest, pill.size().width());
  return widest;
}

QSize PairTableDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const {
  const int column = index.column();
  const int content = column == PairTableModel::status
                          ? widestPill()
                          : glyphs_.width(textOf(model_.row(index.row()), column));
  return {textLeft(column) + content + cellPadding, rowHeight()};
}

int PairTableDelegate::takenWidth() const {
  return 2 * cellPadding + glyphs_.width(QStringLiteral("28 Sept 2020, 00:00 PM"));
}

int PairTableDelegate::rowHeight() const {
  return std::max({leastRowHeight, table_.fontMetrics().height() + 8, pills_.front().size().height() + 6});
}

void PairTableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
  paintGround(*painter, option, index);
  const PairTableModel::Row& row = model_.row(index.row());
  const QRect& cell = option.rect;
  const auto placed = [&](const QRect& part) { return QStyle::visualRect(option.direction, cell, part); };
  if (index.column() == PairTableModel::status) {
    const StatusPill& pill = pills_[static_cast<std::size_t>(row.status)];
    const QPoint corner(cell.left() + cellPadding, halfwayDown(cell, pill.size().height()));
    return pill.paint(*painter, placed(QRect(corner, pill.size())).topLeft());
  }

  const bool selected = option.state.testFlag(QStyle::State_Selected);
  if (index.column() == PairTableModel::file) {
    const int side = iconSide();
    painter->drawPixmap(placed(QRect(cell.left() + cellPadding, halfwayDown(cell, side), side, side)),
                        icon(row.isVideo, selected));
  }
  const QString& text = textOf(row, index.column());
  const bool absent = &text == &noDate_ || &text == &noSidecar_;
  painter->setPen(selected ? selectedPen_ : absent ? absentPen_ : textPen_);
  const int height = table_.fontMetrics().height();
  const QRect line(cell.left() + textLeft(index.column()), halfwayDown(cell, height),
                   textWidth(index.column()), height);
  glyphs_.draw(*painter, placed(line), option.direction, text, cutOf(index.column()));
}

const QString& PairTableDelegate::textOf(const PairTableModel::Row& row, int column) const {
  switch (column) {
    case PairTableModel::taken:
      return row.taken.isEmpty() ? noDate_ : row.taken;
    case PairTableModel::sidecar:
      return row.sidecar.isEmpty() ? noSidecar_ : row.sidecar;
    default:
      return row.file;
  }
}

int PairTableDelegate::textWidth(int column) const {
  return table_.columnWidth(column) - textLeft(column) - cellPadding;
}

QString PairTableDelegate::shown(const QModelIndex& index) const {
  return glyphs_.cut(textOf(model_.row(index.row()), index.column()), textWidth(index.column()),
                     cutOf(index.column()));
}

void PairTableDelegate::paintGround(QPainter& painter, const QStyleOptionViewItem& option,
                                    const QModelIndex& index) const {
  const bool selected = option.state.testFlag(QStyle::State_Selected);
  painter.fillRect(option.rect, selected               ? Palette::amber
                                : index.row() % 2 == 1 ? shades_.stripe
                                                       : shades_.surface);
  if (!table_.hasFocus() || !option.state.testFlag(QStyle::State_KeyboardFocusChange)) return;
  if (index.row() != table_.currentIndex().row()) return;
  // The ring goes around the row, in ink where the row itself is amber.
  const QColor ring = selected ? Palette::ink : Palette::amber;
  const QRect& cell = option.rect;
  painter.fillRect(cell.left(), cell.top(), cell.width(), 2, ring);
  painter.fillRect(cell.left(), cell.bottom() - 1, cell.width(), 2, ring);
}

const QPixmap& PairTableDelegate::icon(bool video, bool selected) const {
  QPixmap& pixmap = icons_.at(video ? 1 : 0).at(selected ? 1 : 0);
  const double ratio = table_.devicePixelRatioF();
  if (pixmap.isNull() || pixmap.devicePixelRatio() != ratio) {
    const auto symbol = video ? Icons::Symbol::film : Icons::Symbol::photo;
    const QSize size(iconSide(), iconSide());
    pixmap = Icons::icon(symbol, selected ? Palette::ink : Palette::amber).pixmap(size, ratio);
  }
  return pixmap;
}

bool PairTableDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                  const QStyleOptionViewItem& option, const QModelIndex& index) {
  const bool isCut = index.isValid() && index.column() != PairTableModel::status &&
                     shown(index) != model_.data(index, Qt::DisplayRole).toString();
  if (event->type() != QEvent::ToolTip || isCut) {
    return QStyledItemDelegate::helpEvent(event, view, option, index);
  }
  // Only what was cut needs to be said again.
  QToolTip::hideText();
  return true;
}

}  // namespace tollbrook
