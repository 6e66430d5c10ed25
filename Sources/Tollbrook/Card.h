#pragma once

#include <QColor>
#include <QWidget>

namespace tollbrook {

/// A ground with round corners and a hairline around it: the list's surface, in the inspector.
class Card : public QWidget {
  Q_OBJECT

 public:
  /// `tint` is mixed faintly into the ground.
  Card(const QString& name, const QColor& tint, QWidget* parent = nullptr);

  /// Paints the ground, without a tint, on any widget.
  static void paint(QWidget& widget, double radius, const QColor& fill);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor tint_;
};

}  // namespace tollbrook
