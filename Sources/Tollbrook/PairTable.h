#pragma once

#include <QTableView>
#include <optional>

namespace tollbrook {

class PairTableDelegate;
class PairTableModel;

/// The pairs as rows that are selected whole, one at a time. The columns always fill the width, and each has
/// what it needs to be of use. The edges behind the file and the date can be moved by hand, at the cost of
/// the sidecar; then the file takes what a wider or narrower window brings.
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
  /// What the file leaves to the others.
  struct Widths {
    int taken;
    int sidecar;
  };

  void restyle();
  void fitColumns();
  void sizeByHand(int column, int width);
  Widths usualWidths() const;
  int room() const;

  PairTableDelegate* const delegate_;
  std::optional<Widths> byHand_;
  bool fitting_ = false;
};

}  // namespace tollbrook
