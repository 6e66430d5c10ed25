#pragma once

#include <QProxyStyle>

namespace tollbrook {

/// How Tollbrook's controls are drawn: Fusion's, flattened, with amber for whatever is on, chosen or in
/// focus. A button that is its window's default is the prominent one.
class Style : public QProxyStyle {
  Q_OBJECT

 public:
  /// What a button or toggle keeps free around it, for the ring that shows its focus.
  static constexpr int focusRoom = 4;

  Style();

  /// Draws the ring that shows the focus along the inside of `rect`, while the widget has the focus.
  static void drawFocus(QPainter& painter, const QWidget& widget, const QRect& rect);

  /// Makes amber the colour of selections, disabled text readable, and windows and buttons as light or dark
  /// as the system's lists, in whose shades everything is drawn.
  void polish(QPalette& palette) override;
  void polish(QWidget* widget) override;
  using QProxyStyle::polish;

  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override;
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                          const QWidget* widget) const override;
  QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                       const QWidget* widget) const override;
  QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                         const QWidget* widget) const override;
  int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override;
};

}  // namespace tollbrook
