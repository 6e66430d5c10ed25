#pragma once

#include <QLabel>

#include "Tollbrook/Typography.h"

namespace tollbrook {

/// A label in one of the window's styles of type, which it keeps when the system's font or palette changes.
class TextLabel : public QLabel {
  Q_OBJECT

 public:
  enum class Tone { primary, secondary };

  explicit TextLabel(const QString& text, Typography::TextStyle style, Tone tone = Tone::primary,
                     QWidget* parent = nullptr);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void restyle();
  void align();

  Typography::TextStyle style_;
  Tone tone_;
};

}  // namespace tollbrook
