#pragma once

#include "Tollbrook/TextLabel.h"

namespace tollbrook {

/// One line that is cut in the middle where it does not fit; the whole of it is then its tooltip. Copying
/// copies the whole text.
class ElidedLabel : public TextLabel {
  Q_OBJECT

 public:
  explicit ElidedLabel(const QString& text, Typography::TextStyle style, Tone tone = Tone::primary,
                       QWidget* parent = nullptr);

  void setFullText(const QString& text);
  const QString& fullText() const { return fullText_; }

  /// Lets it be selected and copied, by the keyboard too.
  void makeSelectable();

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  void elide();
  void copy() const;

  QString fullText_;
};

}  // namespace tollbrook
