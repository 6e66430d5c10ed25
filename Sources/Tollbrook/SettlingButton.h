#pragma once

#include <QElapsedTimer>
#include <QPushButton>

namespace tollbrook {

/// A button that comes where another was. For the time of a double click it takes no click and no key, since
/// these were meant for the other: it may stand for the opposite. A key that is held down clicks it once.
class SettlingButton : public QPushButton {
  Q_OBJECT

 public:
  using QPushButton::QPushButton;

 protected:
  void showEvent(QShowEvent* event) override;
  bool hitButton(const QPoint& position) const override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  bool isSettling() const;

  QElapsedTimer shown_;
};

}  // namespace tollbrook
