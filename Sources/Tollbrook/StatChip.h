#pragma once

#include <QFrame>
#include <cstdint>

namespace tollbrook {

class TextLabel;

/// A count in large type above a short label, on a rounded ground.
class StatChip : public QFrame {
  Q_OBJECT

 public:
  explicit StatChip(const QString& label, QWidget* parent = nullptr);

  void setCount(std::int64_t count);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void reserveWidth();

  TextLabel* count_;
  TextLabel* label_;
};

}  // namespace tollbrook
