#pragma once

#include <QIcon>
#include <QWidget>

namespace tollbrook {

/// An icon of so many points at the system's usual font size, larger with a larger font. Only decoration:
/// what it says stands beside it as text.
class IconView : public QWidget {
  Q_OBJECT

 public:
  IconView(const QIcon& icon, double points, QWidget* parent = nullptr);

  /// Turns the icon round where lines begin at the right: for one that points to what comes next.
  void pointOnwards() { pointsOnwards_ = true; }

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  QIcon icon_;
  double points_;
  bool pointsOnwards_ = false;
};

}  // namespace tollbrook
