#include "Tollbrook/DetailList.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QStackedWidget>
#include <algorithm>

#include "Tollbrook/AppModel.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/Desktop/FileManager.h"
#include "Tollbrook/Divider.h"
#include "Tollbrook/EmptyStates.h"
#include "Tollbrook/PairTable.h"
#include "Tollbrook/PairTableModel.h"
#include "Tollbrook/SegmentedPicker.h"
#include "Tollbrook/TextLabel.h"

namespace tollbrook {
namespace {

using Typography::TextStyle;

enum Content { welcome, noMedia, pairTable };

constexpr int widestFilter = 420;

QList<SegmentedPicker::Choice> filterChoices() {
  QList<SegmentedPicker::Choice> choices;
  for (const RowFilter filter : rowFilters) choices.append({rawValue(filter), label(filter)});
  return choices;
}

}  // namespace

DetailList::DetailList(AppModel& model, Actions& actions, FileManager& fileManager, QWidget* parent)
    : QWidget(parent), model_(model), fileManager_(fileManager), rows_(new PairTableModel(model, this)) {
  setObjectName(QStringLiteral("detailList"));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins({});
  column->setSpacing(0);
  column->addLayout(makeFilterBar());
  column->addWidget(new Divider(this));
  content_ = new QStackedWidget(this);
  content_->setObjectName(QStringLiteral("content"));
  content_->addWidget(new WelcomeView(actions));
  content_->addWidget(new NoMediaView);
  content_->addWidget(makeTable());
  column->addWidget(content_, 1);

  connect(&model_, &AppModel::folderChanged, this, &DetailList::showContent);
  connect(&model_, &AppModel::pairsChanged, this, &DetailList::showContent);
  connect(&model_, &AppModel::isScanningChanged, this, &DetailList::showContent);
  connect(&model_, &AppModel::visiblePairsChanged, this, &DetailList::showCount);
  connect(&model_, &AppModel::filterChanged, this,
          [this] { filter_->setCurrent(static_cast<int>(model_.filter())); });
  showContent();
  showCount();
}

QHBoxLayout* DetailList::makeFilterBar() {
  auto* bar = new QHBoxLayout;
  bar->setContentsMargins(14, 10, 14, 10);
  bar->setSpacing(8);
  auto* label = new TextLabel(tr("Show"), TextStyle::body);
  filter_ = new SegmentedPicker(filterChoices(), this);
  filter_->setObjectName(QStringLiteral("filter"));
  filter_->setAccessibleName(label->text());
  filter_->setCurrent(static_cast<int>(model_.filter()));
  connect(filter_, &SegmentedPicker::picked, &model_,
          [this](int index) { model_.setFilter(rowFilters.at(static_cast<std::size_t>(index))); });
  sizeFilter();
  count_ = new TextLabel(QString(), TextStyle::caption, TextLabel::Tone::secondary);
  count_->setObjectName(QStringLiteral("shownCount"));
  bar->addWidget(label);
  bar->addWidget(filter_);
  bar->addStretch(1);
  bar->addWidget(count_);
  return bar;
}

QWidget* DetailList::makeTable() {
  table_ = new PairTable(*rows_);
  table_->setObjectName(QStringLiteral("pairs"));
  connect(table_, &QWidget::customContextMenuRequested, this, &DetailList::showContextMenu);
  connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &DetailList::takeSelection);
  connect(rows_, &QAbstractItemModel::modelAboutToBeReset, this, [this] { resetting_ = true; });
  connect(rows_, &QAbstractItemModel::modelReset, this, &DetailList::showSelection);
  return table_;
}

void DetailList::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Appearance::current().surface); }

void DetailList::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::FontChange) sizeFilter();
}

// A larger font may need more than the usual width.
void DetailList::sizeFilter() {
  filter_->setMaximumWidth(std::max(widestFilter, filter_->minimumSizeHint().width()));
}

void DetailList::showContent() {
  const bool nothing = model_.pairs().empty() && !model_.isScanning();
  content_->setCurrentIndex(!model_.folder() ? welcome : nothing ? noMedia : pairTable);
}

void DetailList::showCount() {
  count_->setText(tr("%1 shown").arg(static_cast<qulonglong>(model_.visiblePairs().size())));
}

void DetailList::takeSelection() {
  if (resetting_) return;
  const QModelIndexList selected = table_->selectionModel()->selectedRows();
  selection_ = selected.isEmpty() ? std::nullopt : std::optional(rows_->id(selected.first().row()));
}

// New rows come without a selection; the same pair is selected again where it is shown. It is scrolled to
// only among those of another filter: in a list that was scanned again, the user may have scrolled away from
// it.
void DetailList::showSelection() {
  if (const std::optional<int> row = selection_ ? rows_->rowOf(*selection_) : std::nullopt) {
    const int down = table_->verticalScrollBar()->value();
    table_->selectRow(*row);
    if (model_.filter() == shownFilter_) {
      table_->verticalScrollBar()->setValue(down);
    } else {
      // Once the scroll bar knows of the new rows.
      QMetaObject::invokeMethod(
          table_, [this] { table_->scrollTo(table_->currentIndex()); }, Qt::QueuedConnection);
    }
  }
  shownFilter_ = model_.filter();
  resetting_ = false;
}

const MediaPair* DetailList::selectedPair() const {
  if (!selection_ || !rows_->rowOf(*selection_)) return nullptr;
  const std::vector<MediaPair>& pairs = model_.pairs();
  const auto found = std::find_if(pairs.begin(), pairs.end(),
                                  [this](const MediaPair& pair) { return pair.id == *selection_; });
  return found == pairs.end() ? nullptr : &*found;
}

void DetailList::showContextMenu(const QPoint& position) {
  const MediaPair* const pair = selectedPair();
  if (pair == nullptr) return;
  auto* menu = new QMenu(this);
  menu->setObjectName(QStringLiteral("pairMenu"));
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addAction(tr("Reveal in Finder"), this, [this, media = pair->media] { fileManager_.reveal(media); });
  if (pair->sidecar) {
    menu->addAction(tr("Reveal sidecar JSON"), this,
                    [this, sidecar = *pair->sidecar] { fileManager_.reveal(sidecar); });
  }
  // The menu key asks for it at the row, which may be scrolled out of sight.
  const QRect seen = table_->viewport()->rect();
  const QPoint corner(std::clamp(position.x(), seen.left(), seen.right()),
                      std::clamp(position.y(), seen.top(), seen.bottom()));
  menu->popup(table_->viewport()->mapToGlobal(corner));
}

}  // namespace tollbrook
