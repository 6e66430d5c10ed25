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

}  // namespace

PairTableDelegate::PairTableDelegate(const PairTableModel& model, QTableView& table)
    : QStyledItemDelegate(&table), model_(model), table_(table), shades_(Appearance::current()) {
  restyle();
  connect(&model_, &QAbstractItemModel::modelReset, this, &PairTableDelegate::forget);
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
  forget();
}

void PairTableDelegate::forget() {
  laidOut_.clear();
  laidOut_.resize(static_cast<std::size_t>(model_.rowCount()));
}

int PairTableDelegate::widthFor(int column) const {
  const QFontMetrics metrics = table_.fontMetrics();
  switch (column) {
    case PairTableModel::taken:
      return 2 * cellPadding + metrics.horizontalAdvance(QStringLiteral("28 Sept 2020, 00:00 PM"));
    case PairTableModel::sidecar:
      return 2 * cellPadding + metrics.horizontalAdvance(QLatin1Char('x')) * 24;
    case PairTableModel::status: {
      int widest = 0;
      for (const StatusPill& pill : pills_) widest = std::max(widest, pill.size().width());
      return 2 * cellPadding + widest;
    }
    default:
      return 2 * cellPadding + iconSide() + metrics.horizontalAdvance(QLatin1Char('x')) * 12;
  }
}

int PairTableDelegate::rowHeight() const {
  return std::max({leastRowHeight, table_.fontMetrics().height() + 8, pills_.front().size().height() + 6});
}

QRect PairTableDelegate::textRect(const QRect& cell, int column) const {
  QRect text = cell.adjusted(cellPadding, 0, -cellPadding, 0);
  if (column == PairTableModel::file) text.setLeft(text.left() + iconSide() + cellPadding);
  return text;
}

void PairTableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
  paintGround(*painter, option, index);
  const PairTableModel::Row& row = model_.row(index.row());
  const QRect padded = option.rect.adjusted(cellPadding, 0, -cellPadding, 0);
  if (index.column() == PairTableModel::status) {
    return pills_[static_cast<std::size_t>(row.status)].paint(*painter, padded);
  }

  const bool selected = option.state.testFlag(QStyle::State_Selected);
  if (index.column() == PairTableModel::file) {
    const int side = iconSide();
    painter->drawPixmap(QRect(padded.left(), option.rect.center().y() - side / 2, side, side),
                        icon(row.isVideo, selected));
  }
  const bool absent = (index.column() == PairTableModel::taken && row.taken.isEmpty()) ||
                      (index.column() == PairTableModel::sidecar && row.sidecar.isEmpty());
  painter->setPen(selected ? selectedPen_ : absent ? absentPen_ : textPen_);
  painter->setFont(table_.font());
  const QRect text = textRect(option.rect, index.column());
  const int top = option.rect.top() + (option.rect.height() - table_.fontMetrics().height()) / 2;
  painter->drawStaticText(text.left(), top, laidOut(index, text.width()).text);
}

PairTableDelegate::LaidOut& PairTableDelegate::laidOut(const QModelIndex& index, int width) const {
  LaidOut& cell = laidOut_[static_cast<std::size_t>(index.row())][static_cast<std::size_t>(index.column())];
  if (cell.width == width) return cell;
  cell.width = width;
  cell.text.setTextFormat(Qt::PlainText);
  cell.text.setText(table_.fontMetrics().elidedText(model_.data(index, Qt::DisplayRole).toString(),
                                                    Qt::ElideMiddle, width));
  cell.text.prepare(QTransform(), table_.font());
  return cell;
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
  if (event->type() != QEvent::ToolTip || !index.isValid() || index.column() == PairTableModel::status) {
    return QStyledItemDelegate::helpEvent(event, view, option, index);
  }
  // Only what was cut needs to be said again.
  const QString whole = model_.data(index, Qt::DisplayRole).toString();
  const bool cut = laidOut(index, textRect(option.rect, index.column()).width()).text.text() != whole;
  QToolTip::showText(event->globalPos(), cut ? whole : QString(), view);
  return true;
}

}  // namespace tollbrook
