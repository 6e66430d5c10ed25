#pragma once

#include <QScrollArea>

class QVBoxLayout;

namespace tollbrook {

/// A column that scrolls where it is higher than its place. Its scroll bar lies in its margin, at the side
/// where lines end, so that it is as wide with the bar as without.
class ScrollingColumn : public QScrollArea {
  Q_OBJECT

 public:
  /// `around` are the margins; what is in the column keeps them whichever side the bar is on.
  explicit ScrollingColumn(const QMargins& around, QWidget* parent = nullptr);

  QVBoxLayout* column() const { return column_; }

 private:
  QVBoxLayout* column_;
};

}  // namespace tollbrook
