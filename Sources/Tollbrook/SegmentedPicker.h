#pragma once

#include <QList>
#include <QRadioButton>

namespace tollbrook {

/// One choice of a SegmentedPicker: a radio button by nature, so that the arrow keys go from one to the next.
class Segment : public QRadioButton {
  Q_OBJECT

 public:
  explicit Segment(const QString& text, QWidget* parent = nullptr);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  bool hitButton(const QPoint& position) const override { return rect().contains(position); }
  void paintEvent(QPaintEvent* event) override;
};

/// A row of choices of which one is taken.
class SegmentedPicker : public QWidget {
  Q_OBJECT

 public:
  struct Choice {
    QString name;  ///< of the segment as an object, in every language
    QString text;
  };

  explicit SegmentedPicker(const QList<Choice>& choices, QWidget* parent = nullptr);

  int current() const;
  void setCurrent(int index);
  /// The choice at this place, from 0.
  QRadioButton* segment(int index) const { return segments_.at(index); }

 Q_SIGNALS:
  /// Another choice has been taken.
  void picked(int index);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QList<Segment*> segments_;
};

}  // namespace tollbrook
