#pragma once

#include <QTableView>

namespace tollbrook {

class PairTableDelegate;
class PairTableModel;

/// The pairs as rows that are selected whole, one at a time. The columns always fill the width: those of the
/// file and the date can be sized by hand, that of the sidecar gets what they leave, that of the status has
/// room for its pill.
class PairTable : public QTableView {
  Q_OBJECT

 public:
  explicit PairTable(PairTableModel& rows, QWidget* parent = nullptr);

  /// Finds the name of a file by the letters it begins with, whichever cell is the current one.
  void keyboardSearch(const QString& letters) override;

 protected:
  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  void changeEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void restyle();
  void fitColumns();
  void sizeByHand(int column, int width);
  void setColumns(int file, int taken);
  int roomForFileAndTaken() const;

  PairTableModel& rows_;
  PairTableDelegate* delegate_;
  bool columnsFit_ = true;  ///< until the user sizes one by hand
  bool sizing_ = false;
};

}  // namespace tollbrook
