#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <optional>
#include <string>
#include <vector>

#include "Tollbrook/TakenDateFormat.h"
#include "TollbrookCore/Models.h"

namespace tollbrook {

class AppModel;

/// The model's visible pairs as a table. The texts of all rows are made when the pairs change, so that
/// showing a row makes none.
class PairTableModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { file, taken, sidecar, status };

  /// What one row shows.
  struct Row {
    QString file;
    QString taken;    ///< empty when there is no date
    QString sidecar;  ///< empty when there is none
    PairStatus status;
    bool isVideo;
  };

  explicit PairTableModel(AppModel& model, QObject* parent = nullptr);

  const Row& row(int index) const { return rows_[static_cast<std::size_t>(index)]; }
  /// The identity of the pair in this row.
  const std::string& id(int index) const;
  /// Where the pair of this identity is shown, if it is.
  std::optional<int> rowOf(const std::string& id) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  /// What a cell without a value reads.
  static QString noDate();
  static QString noSidecar();

 private:
  void fill();
  QString text(const Row& row, int column) const;

  AppModel& model_;
  TakenDateFormat dates_;
  std::vector<Row> rows_;
};

}  // namespace tollbrook
