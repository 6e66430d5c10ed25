#pragma once

#include <QPropertyAnimation>
#include <QWidget>

namespace tollbrook {

/// The dashed frame over everything while something is dragged over the window. It takes no clicks.
class DropFrame : public QWidget {
  Q_OBJECT
  Q_PROPERTY(double strength READ strength WRITE setStrength)

 public:
  explicit DropFrame(QWidget* parent);

  /// Fades in or out, or just appears where the desktop asks for reduced motion.
  void setShown(bool shown);

  double strength() const { return strength_; }
  void setStrength(double strength);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  double strength_ = 0;
  QPropertyAnimation fade_;
};

}  // namespace tollbrook
