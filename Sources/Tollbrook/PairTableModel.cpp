#include "Tollbrook/PairTableModel.h"

#include "Tollbrook/AppModel.h"
#include "Tollbrook/Paths.h"
#include "Tollbrook/StatusPill.h"

namespace tollbrook {

PairTableModel::PairTableModel(AppModel& model, QObject* parent)
    : QAbstractTableModel(parent), model_(model) {
  fill();
  connect(&model_, &AppModel::visiblePairsAboutToChange, this, [this] {
    beginResetModel();
    rows_.clear();
  });
  connect(&model_, &AppModel::visiblePairsChanged, this, [this] {
    fill();
    endResetModel();
  });
}

const std::string& PairTableModel::id(int index) const {
  return model_.visiblePairs()[static_cast<std::size_t>(index)]->id;
}

std::optional<int> PairTableModel::rowOf(const std::string& id) const {
  for (int index = 0; index < rowCount(); ++index) {
    if (this->id(index) == id) return index;
  }
  return std::nullopt;
}

int PairTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int PairTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : status + 1; }

QVariant PairTableModel::data(const QModelIndex& index, int role) const {
  const Row& shown = row(index.row());
  if (role == Qt::DisplayRole) return text(shown, index.column());
  if (role == Qt::ToolTipRole) return Paths::toolTip(text(shown, index.column()));
  if (role == Qt::AccessibleTextRole && index.column() == file) {
    return shown.isVideo ? tr("Video %1").arg(shown.file) : tr("Photo %1").arg(shown.file);
  }
  return {};
}

QVariant PairTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::TextAlignmentRole) return QVariant::fromValue(Qt::AlignLeft | Qt::AlignVCenter);
  if (role != Qt::DisplayRole) return {};
  switch (section) {
    case file:
      return tr("File");
    case taken:
      return tr("Taken");
    case sidecar:
      return tr("Sidecar");
    case status:
      return tr("Status");
    default:
      return {};
  }
}

QString PairTableModel::noDate() { return QStringLiteral("—"); }
QString PairTableModel::noSidecar() { return tr("missing"); }

void PairTableModel::fill() {
  rows_.reserve(model_.visiblePairs().size());
  for (const MediaPair* pair : model_.visiblePairs()) {
    const std::optional<TimePoint> time = pair->data ? pair->data->takenTime : std::nullopt;
    rows_.push_back({.file = Paths::shownName(pair->media),
                     .taken = time ? dates_.text(*time) : QString(),
                     .sidecar = pair->sidecar ? Paths::shownName(*pair->sidecar) : QString(),
                     .status = pair->status,
                     .isVideo = pair->kind == MediaKind::video});
  }
}

QString PairTableModel::text(const Row& row, int column) const {
  switch (column) {
    case file:
      return row.file;
    case taken:
      return row.taken.isEmpty() ? noDate() : row.taken;
    case sidecar:
      return row.sidecar.isEmpty() ? noSidecar() : row.sidecar;
    case status:
      return StatusPill::label(row.status);
    default:
      return {};
  }
}

}  // namespace tollbrook
