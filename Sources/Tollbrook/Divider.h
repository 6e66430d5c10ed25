#pragma once

#include <QWidget>

namespace tollbrook {

/// A line between two parts, one pixel high.
class Divider : public QWidget {
  Q_OBJECT

 public:
  explicit Divider(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace tollbrook
