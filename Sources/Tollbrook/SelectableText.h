#pragma once

#include <QTextDocument>
#include <QTextEdit>

#include "Tollbrook/Typography.h"

namespace tollbrook {

/// Text that can be selected and copied, as high as it needs to be and may be, with room around it for the
/// ring that shows its focus. It wraps anywhere: a name without spaces must not make the column wider.
class SelectableText : public QTextEdit {
  Q_OBJECT

 public:
  enum class Tone { secondary, error };

  SelectableText(Typography::TextStyle style, Tone tone, QWidget* parent = nullptr);

  void setText(const QString& text);
  QString text() const { return toPlainText(); }

  /// While it is held, the texts that come may get higher and never lower again, so that what stands above
  /// stays in its place while a name of one line follows one of two.
  void holdHeight(bool held);

  /// From now on it gets no higher than this, and what does not fit can be scrolled to.
  void limitHeight(int most);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;

 private:
  void restyle();
  void align();

  Typography::TextStyle style_;
  Tone tone_;
  bool held_ = false;
  bool isOld_ = false;       ///< whether the text is from before it was held
  mutable int highest_ = 0;  ///< while it is held
  int most_ = QWIDGETSIZE_MAX;
  mutable QTextDocument measured_;
};

}  // namespace tollbrook
