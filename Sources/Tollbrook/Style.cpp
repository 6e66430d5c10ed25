#include "Tollbrook/Style.h"

#include <QPainter>
#include <QScrollBar>
#include <QStyleFactory>
#include <QStyleOption>
#include <QToolButton>
#include <algorithm>
#include <cmath>

#include "Tollbrook/Appearance.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/Typography.h"

namespace tollbrook {
namespace {

constexpr int focusWidth = 2;
constexpr int focusRoom = Style::focusRoom;
constexpr int scrollBarWidth = 12;
constexpr int iconGap = 6;  ///< between a button's icon and its text

const Appearance& appearance() { return Appearance::current(); }

bool has(const QStyleOption& option, QStyle::StateFlag flag) { return option.state.testFlag(flag); }

/// The fill of a control in its state.
QColor shownFill(const QColor& fill, const QColor& text, const QStyleOption& option) {
  const bool pressed = has(option, QStyle::State_Sunken);
  const bool touched = pressed || has(option, QStyle::State_MouseOver);
  return has(option, QStyle::State_Enabled) && touched ? answered(fill, text, pressed) : fill;
}

void drawRound(QPainter* painter, const QRectF& rect, double radius, const QColor& fill,
               const QColor& border = Qt::transparent) {
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setBrush(fill);
  painter->setPen(border.alpha() == 0 ? QPen(Qt::NoPen) : QPen(border));
  const double inset = border.alpha() == 0 ? 0 : 0.5;
  painter->drawRoundedRect(rect.adjusted(inset, inset, -inset, -inset), radius, radius);
  painter->restore();
}

void drawFocusRing(QPainter* painter, const QRectF& rect, double radius) {
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setBrush(Qt::NoBrush);
  painter->setPen(QPen(Palette::amber, focusWidth));
  const double half = focusWidth / 2.0;
  painter->drawRoundedRect(rect.adjusted(half, half, -half, -half), radius, radius);
  painter->restore();
}

/// Whether the focus shows: once the keyboard has been used to move it.
bool showsFocus(const QStyleOption& option) {
  return has(option, QStyle::State_HasFocus) && has(option, QStyle::State_KeyboardFocusChange);
}

/// What Fusion adds to the width of a menu's row for its check marks and icons is less than it takes off
/// again where the row is high: then it is this share of the height.
int missingCheckColumn(const QStyleOptionMenuItem& item, int height) {
  constexpr double share = 0.79;
  return std::max(0, static_cast<int>(std::ceil(height * share)) - item.maxIconWidth);
}

bool isProminent(const QStyleOptionButton& button) {
  return button.features.testFlag(QStyleOptionButton::DefaultButton);
}

void drawButtonBevel(const QStyleOptionButton& button, QPainter* painter) {
  constexpr double radius = 7;
  const Appearance& shades = appearance();
  const QRectF body = QRectF(button.rect).adjusted(focusRoom, focusRoom, -focusRoom, -focusRoom);
  const bool enabled = has(button, QStyle::State_Enabled);
  if (isProminent(button)) {
    drawRound(painter, body, radius,
              enabled ? shownFill(Palette::amber, Palette::ink, button) : shades.track);
  } else {
    drawRound(painter, body, radius, enabled ? shownFill(shades.surface, shades.text, button) : shades.chrome,
              shades.hairline);
  }
  if (showsFocus(button)) drawFocusRing(painter, button.rect, radius + focusRoom - 1);
}

QColor buttonTextColour(const QStyleOptionButton& button) {
  const Appearance& shades = appearance();
  if (!has(button, QStyle::State_Enabled)) return shades.tertiaryText;
  return isProminent(button) ? Palette::ink : shades.text;
}

/// An icon and a text side by side, in the middle of `rect`.
void drawIconAndText(const QStyle& style, const QStyleOption& option, const QRect& rect, const QIcon& icon,
                     const QSize& iconSize, const QString& text, const QColor& colour, QPainter* painter) {
  const QSize shownIcon = icon.isNull() ? QSize(0, 0) : iconSize;
  const int gap = icon.isNull() || text.isEmpty() ? 0 : iconGap;
  const int words = option.fontMetrics.size(Qt::TextShowMnemonic, text).width();
  QRect line(0, 0, shownIcon.width() + gap + words, rect.height());
  line.moveCenter(rect.center());
  const auto placed = [&](const QRect& part) { return QStyle::visualRect(option.direction, line, part); };
  const QRect picture(line.left(), rect.center().y() - (shownIcon.height() - 1) / 2, shownIcon.width(),
                      shownIcon.height());
  const bool enabled = has(option, QStyle::State_Enabled);
  icon.paint(painter, placed(picture), Qt::AlignCenter, enabled ? QIcon::Normal : QIcon::Disabled);
  painter->setPen(colour);
  const QRect label(line.right() - words + 1, line.top(), words, line.height());
  style.drawItemText(painter, placed(label), Qt::AlignCenter | Qt::TextHideMnemonic, option.palette, true,
                     text);
}

void drawCheckBox(const QStyleOption& option, QPainter* painter) {
  const Appearance& shades = appearance();
  const bool enabled = has(option, QStyle::State_Enabled);
  const bool on = has(option, QStyle::State_On);
  const QRectF box = option.rect;
  const double radius = box.height() / 4;
  if (!on) {
    drawRound(painter, box, radius, shownFill(shades.surface, shades.text, option),
              enabled ? shades.tertiaryText : shades.hairline);
    return;
  }
  drawRound(
      painter, box, radius,
      enabled ? shownFill(Palette::amber, Palette::ink, option) : mixed(shades.chrome, Palette::amber, 0.45));
  Icons::icon(Icons::Symbol::checkMark, enabled ? Palette::ink : shades.chrome)
      .paint(painter, option.rect.adjusted(1, 1, -1, -1));
}

void drawProgressBar(const QStyleOptionProgressBar& bar, QPainter* painter) {
  const double radius = bar.rect.height() / 2.0;
  drawRound(painter, bar.rect, radius, appearance().track);
  if (bar.maximum <= bar.minimum || bar.progress <= bar.minimum) return;
  const double share = static_cast<double>(bar.progress - bar.minimum) / (bar.maximum - bar.minimum);
  QRectF done = bar.rect;
  done.setWidth(std::max(done.height(), done.width() * std::min(share, 1.0)));
  if (bar.direction == Qt::RightToLeft) done.moveRight(QRectF(bar.rect).right());
  drawRound(painter, done, radius, Palette::amber);
}

void drawToolButtonPanel(const QStyleOption& option, QPainter* painter) {
  const Appearance& shades = appearance();
  const QRectF body = QRectF(option.rect).adjusted(1, 1, -1, -1);
  const bool touched = option.state.testAnyFlags(QStyle::State_MouseOver | QStyle::State_Sunken);
  if (has(option, QStyle::State_Enabled) && touched) {
    drawRound(painter, body, 6, shownFill(shades.chrome, shades.text, option));
  }
  if (showsFocus(option)) drawFocusRing(painter, option.rect, 7);
}

void drawMenuBarItem(const QStyle& style, const QStyleOption& option, QPainter* painter) {
  const auto& item = *qstyleoption_cast<const QStyleOptionMenuItem*>(&option);
  const Appearance& shades = appearance();
  painter->fillRect(option.rect, shades.chrome);
  if (has(option, QStyle::State_Selected)) {
    drawRound(painter, QRectF(option.rect).adjusted(1, 1, -1, -1), 5, shades.track);
  }
  const int hidden = style.styleHint(QStyle::SH_UnderlineShortcut, &option) != 0 ? Qt::TextShowMnemonic
                                                                                 : Qt::TextHideMnemonic;
  style.drawItemText(painter, option.rect, Qt::AlignCenter | hidden, option.palette,
                     has(option, QStyle::State_Enabled), item.text, QPalette::WindowText);
}

void drawMenuPanel(const QRect& rect, QPainter* painter) {
  const Appearance& shades = appearance();
  painter->fillRect(rect, shades.hairline);
  painter->fillRect(rect.adjusted(1, 1, -1, -1), shades.chrome);
}

void drawHeaderSection(const QStyleOption& option, QPainter* painter) {
  const Appearance& shades = appearance();
  painter->fillRect(option.rect, shownFill(shades.surface, shades.text, option));
  const QRect& rect = option.rect;
  painter->fillRect(QRect(rect.left(), rect.bottom(), rect.width(), 1), shades.hairline);
  const auto* header = qstyleoption_cast<const QStyleOptionHeader*>(&option);
  const bool last = header == nullptr || header->position == QStyleOptionHeader::End ||
                    header->position == QStyleOptionHeader::OnlyOneSection;
  if (!last) painter->fillRect(QRect(rect.right(), rect.top() + 6, 1, rect.height() - 12), shades.hairline);
}

void drawScrollBar(const QStyle& style, const QStyleOptionSlider& bar, QPainter* painter,
                   const QWidget* widget) {
  const Appearance& shades = appearance();
  if (bar.maximum <= bar.minimum) return;
  const QRectF slider = style.subControlRect(QStyle::CC_ScrollBar, &bar, QStyle::SC_ScrollBarSlider, widget);
  const bool held = bar.activeSubControls == QStyle::SC_ScrollBarSlider;
  const double inset = held ? 2 : 3;
  const QRectF thumb = slider.adjusted(inset, inset, -inset, -inset);
  const double radius = std::min(thumb.width(), thumb.height()) / 2;
  drawRound(painter, thumb, radius, mixed(shades.surface, shades.text, held ? 0.5 : 0.3));
}

}  // namespace

Style::Style() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

void Style::drawFocus(QPainter& painter, const QWidget& widget, const QRect& rect) {
  if (!widget.hasFocus()) return;
  QStyleOptionFocusRect ring;
  ring.initFrom(&widget);
  ring.rect = rect;
  widget.style()->drawPrimitive(PE_FrameFocusRect, &ring, &painter, &widget);
}

void Style::polish(QPalette& palette) {
  QProxyStyle::polish(palette);
  const Appearance shades(palette);
  // Systems have dark bars around light lists, and give what is disabled a grey that few can read.
  palette.setColor(QPalette::Window, shades.chrome);
  palette.setColor(QPalette::Button, shades.surface);
  for (const QPalette::ColorRole role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
    palette.setColor(role, shades.text);
    palette.setColor(QPalette::Disabled, role, shades.tertiaryText);
  }
  for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
    palette.setColor(group, QPalette::Highlight, Palette::amber);
    palette.setColor(group, QPalette::HighlightedText, Palette::ink);
  }
}

void Style::polish(QWidget* widget) {
  QProxyStyle::polish(widget);
  if (qobject_cast<QToolButton*>(widget) != nullptr) widget->setAttribute(Qt::WA_Hover);
  // What is behind a scroll bar shows beside its thumb.
  if (qobject_cast<QScrollBar*>(widget) != nullptr) widget->setAttribute(Qt::WA_OpaquePaintEvent, false);
}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                          const QWidget* widget) const {
  switch (element) {
    case PE_IndicatorCheckBox:
      return drawCheckBox(*option, painter);
    case PE_FrameFocusRect:
      if (showsFocus(*option)) drawFocusRing(painter, option->rect, 6);
      return;
    case PE_PanelButtonTool:
      return drawToolButtonPanel(*option, painter);
    case PE_PanelMenu:
      return drawMenuPanel(option->rect, painter);
    case PE_FrameMenu:
    case PE_FrameDefaultButton:
    case PE_FrameStatusBarItem:
      return;
    default:
      QProxyStyle::drawPrimitive(element, option, painter, widget);
  }
}

void Style::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                        const QWidget* widget) const {
  const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
  if (element == CE_PushButtonBevel && button != nullptr) return drawButtonBevel(*button, painter);
  if (element == CE_PushButton && button != nullptr) {
    // Fusion's would draw a focus frame of its own.
    drawControl(CE_PushButtonBevel, option, painter, widget);
    drawControl(CE_PushButtonLabel, option, painter, widget);
    return;
  }
  if (element == CE_PushButtonLabel && button != nullptr) {
    return drawIconAndText(*this, *button, button->rect, button->icon, button->iconSize, button->text,
                           buttonTextColour(*button), painter);
  }
  const auto* tool = qstyleoption_cast<const QStyleOptionToolButton*>(option);
  if (element == CE_ToolButtonLabel && tool != nullptr &&
      tool->toolButtonStyle == Qt::ToolButtonTextBesideIcon) {
    const Appearance& shades = appearance();
    return drawIconAndText(*this, *tool, tool->rect, tool->icon, tool->iconSize, tool->text,
                           has(*tool, State_Enabled) ? shades.text : shades.tertiaryText, painter);
  }
  const auto* bar = qstyleoption_cast<const QStyleOptionProgressBar*>(option);
  if (element == CE_ProgressBar && bar != nullptr) return drawProgressBar(*bar, painter);
  if (element == CE_HeaderSection) return drawHeaderSection(*option, painter);
  if (element == CE_HeaderEmptyArea) return drawHeaderSection(*option, painter);
  if (element == CE_HeaderLabel) {
    auto label = *qstyleoption_cast<const QStyleOptionHeader*>(option);
    label.palette.setColor(QPalette::ButtonText, appearance().secondaryText);
    return QProxyStyle::drawControl(element, &label, painter, widget);
  }
  if (element == CE_ToolBar) {
    const Appearance& shades = appearance();
    painter->fillRect(option->rect, shades.chrome);
    const QRect& rect = option->rect;
    painter->fillRect(QRect(rect.left(), rect.bottom(), rect.width(), 1), shades.hairline);
    return;
  }
  if (element == CE_MenuBarEmptyArea) return painter->fillRect(option->rect, appearance().chrome);
  if (element == CE_MenuBarItem) return drawMenuBarItem(*this, *option, painter);
  if (element == CE_Splitter) return painter->fillRect(option->rect, appearance().hairline);
  QProxyStyle::drawControl(element, option, painter, widget);
}

void Style::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                               const QWidget* widget) const {
  const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
  if (control == CC_ScrollBar && bar != nullptr) return drawScrollBar(*proxy(), *bar, painter, widget);
  QProxyStyle::drawComplexControl(control, option, painter, widget);
}

QRect Style::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                            const QWidget* widget) const {
  const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
  if (control != CC_ScrollBar || bar == nullptr) {
    return QProxyStyle::subControlRect(control, option, part, widget);
  }
  // Without arrows the whole length is the groove.
  const bool horizontal = bar->orientation == Qt::Horizontal;
  const int length = horizontal ? bar->rect.width() : bar->rect.height();
  const int range = bar->maximum - bar->minimum;
  int slider = length;
  if (range > 0) {
    const double share = static_cast<double>(bar->pageStep) / (static_cast<double>(range) + bar->pageStep);
    slider = std::clamp(static_cast<int>(length * share), std::min(32, length), length);
  }
  const int start = sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition, length - slider,
                                            bar->upsideDown);
  const auto stretch = [&](int from, int to) {
    const QRect rect = horizontal ? QRect(from, 0, to - from, bar->rect.height())
                                  : QRect(0, from, bar->rect.width(), to - from);
    return visualRect(bar->direction, bar->rect, rect.translated(bar->rect.topLeft()));
  };
  switch (part) {
    case SC_ScrollBarSubPage:
      return stretch(0, start);
    case SC_ScrollBarAddPage:
      return stretch(start + slider, length);
    case SC_ScrollBarSlider:
      return stretch(start, start + slider);
    case SC_ScrollBarGroove:
      return bar->rect;
    default:
      return {};
  }
}

QSize Style::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                              const QWidget* widget) const {
  switch (type) {
    case CT_PushButton:
      return size + QSize(2 * (16 + focusRoom) + iconGap, 2 * (7 + focusRoom));
    case CT_ToolButton:
      return size + QSize(16 + iconGap, 10);
    case CT_HeaderSection:
      return QProxyStyle::sizeFromContents(type, option, size, widget) + QSize(8, 4);
    case CT_MenuItem: {
      const QSize row = QProxyStyle::sizeFromContents(type, option, size, widget);
      const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
      return item == nullptr ? row : row + QSize(missingCheckColumn(*item, row.height()), 0);
    }
    default:
      return QProxyStyle::sizeFromContents(type, option, size, widget);
  }
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
  switch (metric) {
    case PM_IndicatorWidth:
    case PM_IndicatorHeight:
    case PM_ButtonIconSize:
    case PM_ToolBarIconSize:
    case PM_SmallIconSize:
      return Typography::scaled(16);
    case PM_CheckBoxLabelSpacing:
    case PM_HeaderMargin:
      return 8;
    case PM_ToolBarItemSpacing:
    case PM_ToolBarItemMargin:
      return 4;
    case PM_ScrollBarExtent:
      return scrollBarWidth;
    case PM_SplitterWidth:
      return 1;
    case PM_ToolBarFrameWidth:
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical:
      return 0;
    default:
      return QProxyStyle::pixelMetric(metric, option, widget);
  }
}

int Style::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                     QStyleHintReturn* result) const {
  switch (hint) {
    case SH_ScrollBar_LeftClickAbsolutePosition:
      return 0;
    default:
      return QProxyStyle::styleHint(hint, option, widget, result);
  }
}

}  // namespace tollbrook
