#include "Tollbrook/PairTable.h"

#include <QEvent>
#include <QHeaderView>
#include <QStyle>
#include <algorithm>

#include "Tollbrook/PairTableDelegate.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/Typography.h"

namespace tollbrook {

using Column = PairTableModel::Column;

PairTable::PairTable(PairTableModel& rows, QWidget* parent)
    : QTableView(parent), delegate_(new PairTableDelegate(rows, *this)) {
  setAccessibleName(tr("Photos and videos"));
  setModel(&rows);
  setItemDelegate(delegate_);
  setFrameShape(NoFrame);
  setShowGrid(false);
  setSelectionBehavior(SelectRows);
  setSelectionMode(SingleSelection);
  setEditTriggers(NoEditTriggers);
  setTabKeyNavigation(false);
  setWordWrap(false);
  setVerticalScrollMode(ScrollPerPixel);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setContextMenuPolicy(Qt::CustomContextMenu);
  verticalHeader()->hide();
  QHeaderView* const header = horizontalHeader();
  header->setHighlightSections(false);
  header->setSectionsClickable(false);
  // What a column needs is known here; Qt's least depends on the widest glyph of the font.
  header->setMinimumSectionSize(1);
  header->setSectionResizeMode(QHeaderView::Interactive);
  for (const Column column : {Column::sidecar, Column::status}) {
    header->setSectionResizeMode(column, QHeaderView::Fixed);
  }
  connect(header, &QHeaderView::sectionResized, this, [this](int column, int, int width) {
    if (!fitting_) sizeByHand(column, width);
  });
  restyle();
}

void PairTable::changeEvent(QEvent* event) {
  QTableView::changeEvent(event);
  if (event->type() == QEvent::FontChange) byHand_.reset();
  if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) restyle();
}

void PairTable::restyle() {
  delegate_->restyle();
  horizontalHeader()->setFont(Typography::font(Typography::TextStyle::caption));
  int least = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  for (int column = 0; column < horizontalHeader()->count(); ++column) least += delegate_->leastWidth(column);
  setMinimumWidth(least);
  verticalHeader()->setMinimumSectionSize(delegate_->rowHeight());
  verticalHeader()->setDefaultSectionSize(delegate_->rowHeight());
  fitColumns();
}

// The columns first: their sum tells the table how far it can be scrolled.
void PairTable::resizeEvent(QResizeEvent* event) {
  fitColumns();
  QTableView::resizeEvent(event);
}

// For all columns but that of the status, which is as wide as its widest pill.
int PairTable::room() const { return viewport()->width() - delegate_->leastWidth(Column::status); }

// The dates with their times; file and sidecar share the rest.
PairTable::Widths PairTable::usualWidths() const {
  const int taken = delegate_->takenWidth();
  return {.taken = taken, .sidecar = (room() - taken) * 45 / 100};
}

// Where there is not room for all that is wanted, the file gives way first, then the sidecar.
void PairTable::fitColumns() {
  const Widths wanted = byHand_.value_or(usualWidths());
  const auto least = [this](Column column) { return delegate_->leastWidth(column); };
  const int most = room() - least(Column::file);
  const int taken = std::max(least(Column::taken), std::min(wanted.taken, most - least(Column::sidecar)));
  const int sidecar = std::max(least(Column::sidecar), std::min(wanted.sidecar, most - taken));
  fitting_ = true;
  QHeaderView* const header = horizontalHeader();
  header->resizeSection(Column::file, std::max(least(Column::file), room() - taken - sidecar));
  header->resizeSection(Column::taken, taken);
  header->resizeSection(Column::sidecar, sidecar);
  header->resizeSection(Column::status, least(Column::status));
  fitting_ = false;
}

// The other one of file and date keeps its width, so that the edge stays at the pointer.
void PairTable::sizeByHand(int column, int width) {
  const int other = columnWidth(column == Column::file ? Column::taken : Column::file);
  const int most = room() - other - delegate_->leastWidth(Column::sidecar);
  const int sized = std::max(std::min(width, most), delegate_->leastWidth(column));
  byHand_ = {.taken = column == Column::taken ? sized : other, .sidecar = room() - other - sized};
  fitColumns();
}

void PairTable::keyboardSearch(const QString& letters) {
  selectionModel()->setCurrentIndex(currentIndex().siblingAtColumn(Column::file),
                                    QItemSelectionModel::NoUpdate);
  QTableView::keyboardSearch(letters);
}

// Home and End would go to another cell of the same row, where nothing shows it.
QModelIndex PairTable::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
  if (action == MoveHome || action == MoveEnd) modifiers |= Qt::ControlModifier;
  return QTableView::moveCursor(action, modifiers);
}

}  // namespace tollbrook
