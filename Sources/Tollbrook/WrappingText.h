#pragma once

#include "Tollbrook/TextLabel.h"

class QTextLayout;

namespace tollbrook {

/// A label for a text with names of files in it. It wraps inside a word, too, where that is longer than a
/// line, so that no name makes what is around it wider.
class WrappingText : public TextLabel {
  Q_OBJECT

 public:
  explicit WrappingText(const QString& text, Typography::TextStyle style, Tone tone = Tone::primary,
                        QWidget* parent = nullptr);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;
  int heightForWidth(int width) const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  int setOut(QTextLayout& lines, int width) const;
};

}  // namespace tollbrook
