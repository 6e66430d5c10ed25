#pragma once

#include <QKeySequence>
#include <QPushButton>

namespace tollbrook {

/// A button that shows the shortcut of the command that it stands for. It does not take that shortcut itself:
/// the command's own action has it.
class ShortcutButton : public QPushButton {
  Q_OBJECT

 public:
  ShortcutButton(const QString& text, const QKeySequence& shortcut, QWidget* parent = nullptr);

  /// The shortcut as the button shows it.
  const QString& shownShortcut() const { return shortcut_; }

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString shortcut_;
};

}  // namespace tollbrook
