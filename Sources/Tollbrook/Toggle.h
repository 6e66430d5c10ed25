#pragma once

#include <QCheckBox>

namespace tollbrook {

/// A check box whose label wraps, so that it is never cut in a narrow column.
class Toggle : public QCheckBox {
  Q_OBJECT

 public:
  explicit Toggle(const QString& text, QWidget* parent = nullptr);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;

 protected:
  bool hitButton(const QPoint& position) const override { return rect().contains(position); }
  void paintEvent(QPaintEvent* event) override;

 private:
  int labelLeft() const;
  QSize sizeFor(int labelWidth) const;
};

}  // namespace tollbrook
