#include "Tollbrook/PairTable.h"

#include <QEvent>
#include <QHeaderView>
#include <algorithm>

#include "Tollbrook/PairTableDelegate.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/Typography.h"

namespace tollbrook {

using Column = PairTableModel::Column;

PairTable::PairTable(PairTableModel& rows, QWidget* parent) : QTableView(parent), rows_(rows) {
  setAccessibleName(tr("Photos and videos"));
  setModel(&rows);
  delegate_ = new PairTableDelegate(rows, *this);
  setItemDelegate(delegate_);
  setFrameShape(NoFrame);
  setShowGrid(false);
  setSelectionBehavior(SelectRows);
  setSelectionMode(SingleSelection);
  setEditTriggers(NoEditTriggers);
  setTabKeyNavigation(false);
  setWordWrap(false);
  setVerticalScrollMode(ScrollPerPixel);
  setHorizontalScrollMode(ScrollPerPixel);
  setContextMenuPolicy(Qt::CustomContextMenu);
  verticalHeader()->hide();
  QHeaderView* const header = horizontalHeader();
  header->setHighlightSections(false);
  header->setSectionsClickable(false);
  header->setSectionResizeMode(QHeaderView::Interactive);
  for (const Column column : {Column::sidecar, Column::status}) {
    header->setSectionResizeMode(column, QHeaderView::Fixed);
  }
  connect(header, &QHeaderView::sectionResized, this, [this](int column, int, int width) {
    if (!sizing_) sizeByHand(column, width);
  });
  restyle();
}

void PairTable::changeEvent(QEvent* event) {
  QTableView::changeEvent(event);
  if (event->type() == QEvent::FontChange) columnsFit_ = true;
  if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) restyle();
}

void PairTable::restyle() {
  delegate_->restyle();
  horizontalHeader()->setFont(Typography::font(Typography::TextStyle::caption));
  int least = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  for (int column = 0; column < rows_.columnCount(); ++column) least += delegate_->leastWidth(column);
  setMinimumWidth(least);
  verticalHeader()->setMinimumSectionSize(delegate_->rowHeight());
  verticalHeader()->setDefaultSectionSize(delegate_->rowHeight());
  fitColumns();
}

void PairTable::resizeEvent(QResizeEvent* event) {
  QTableView::resizeEvent(event);
  fitColumns();
}

int PairTable::roomForFileAndTaken() const {
  return viewport()->width() - delegate_->leastWidth(Column::sidecar) - delegate_->leastWidth(Column::status);
}

// Every column has what it needs to be of use; then the dates get room for their times, and file and sidecar
// share the rest.
void PairTable::fitColumns() {
  if (!columnsFit_) return setColumns(columnWidth(Column::file), columnWidth(Column::taken));
  const int least = delegate_->leastWidth(Column::taken);
  const int taken = std::clamp(roomForFileAndTaken() - delegate_->leastWidth(Column::file), least,
                               std::max(least, delegate_->takenWidth()));
  const int names = viewport()->width() - delegate_->leastWidth(Column::status) - taken;
  setColumns(names * 55 / 100, taken);
}

// The column beside the one that is sized keeps its width, so that the edge stays at the pointer.
void PairTable::sizeByHand(int column, int width) {
  columnsFit_ = false;
  const int beside = columnWidth(column == Column::file ? Column::taken : Column::file);
  const int most = roomForFileAndTaken() - beside;
  width = std::max(std::min(width, most), delegate_->leastWidth(column));
  if (column == Column::file) {
    setColumns(width, beside);
  } else {
    setColumns(beside, width);
  }
}

// Where there is not room for both, the file gives way first.
void PairTable::setColumns(int file, int taken) {
  const auto least = [this](Column column) { return delegate_->leastWidth(column); };
  taken = std::max(least(Column::taken), std::min(taken, roomForFileAndTaken() - least(Column::file)));
  file = std::max(least(Column::file), std::min(file, roomForFileAndTaken() - taken));
  const int others = file + taken + least(Column::status);
  sizing_ = true;
  QHeaderView* const header = horizontalHeader();
  header->resizeSection(Column::file, file);
  header->resizeSection(Column::taken, taken);
  header->resizeSection(Column::sidecar, std::max(least(Column::sidecar), viewport()->width() - others));
  header->resizeSection(Column::status, least(Column::status));
  sizing_ = false;
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
