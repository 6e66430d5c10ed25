#pragma once

#include <QBoxLayout>
#include <QWidget>

namespace tollbrook {

/// Figures side by side, of one width; one above the other where they would be cut.
class ChipRow : public QWidget {
  Q_OBJECT

 public:
  explicit ChipRow(QWidget* parent = nullptr);

  void add(QWidget* chip);

  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  bool event(QEvent* event) override;

 private:
  void arrange();
  int widest() const;

  QBoxLayout* box_;
};

}  // namespace tollbrook
