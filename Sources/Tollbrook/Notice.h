#pragma once

#include "Tollbrook/WrappingText.h"

namespace tollbrook {

/// A line across the top of the window about what the rest of it has no place for, hidden until it has
/// something to say.
class Notice : public WrappingText {
  Q_OBJECT

 public:
  explicit Notice(const QString& name, QWidget* parent = nullptr);

  void say(const QString& text);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace tollbrook
