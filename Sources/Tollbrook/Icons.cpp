#include "Tollbrook/Icons.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <optional>

#include "Tollbrook/Appearance.h"

// Resources in a library are left out of a program that does not ask for them, and only by a function outside
// of namespaces.
static void linkIcons() { Q_INIT_RESOURCE(tollbrook); }

namespace tollbrook::Icons {
namespace {

QString source(Symbol symbol) {
  switch (symbol) {
    case Symbol::magnifyingGlass:
      return QStringLiteral(":/icons/magnifying-glass.svg");
    case Symbol::clockWithReturningArrow:
      return QStringLiteral(":/icons/clock-arrow.svg");
    case Symbol::stop:
      return QStringLiteral(":/icons/stop.svg");
    case Symbol::folder:
      return QStringLiteral(":/icons/folder.svg");
    case Symbol::film:
      return QStringLiteral(":/icons/film.svg");
    case Symbol::photo:
      return QStringLiteral(":/icons/photo.svg");
    case Symbol::photoStack:
      return QStringLiteral(":/icons/photo-stack.svg");
    case Symbol::photoAtAnAngle:
      return QStringLiteral(":/icons/photo-angled.svg");
    case Symbol::returningArrow:
      return QStringLiteral(":/icons/arrow-clockwise.svg");
    case Symbol::chevron:
      return QStringLiteral(":/icons/chevron-right.svg");
    case Symbol::checkMark:
      return QStringLiteral(":/icons/check-mark.svg");
    case Symbol::application:
      return QStringLiteral(":/tollbrook.svg");
  }
  return {};
}

QPixmap drawn(Symbol symbol, const QColor& colour, const QSize& pixels) {
  const QString key = QStringLiteral("%1 %2 %3x%4")
                          .arg(source(symbol))
                          .arg(colour.rgba())
                          .arg(pixels.width())
                          .arg(pixels.height());
  QPixmap pixmap;
  if (QPixmapCache::find(key, &pixmap)) return pixmap;
  pixmap = QPixmap(pixels);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  QSvgRenderer(source(symbol)).render(&painter);
  if (symbol != Symbol::application) {
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), colour);
  }
  painter.end();
  QPixmapCache::insert(key, pixmap);
  return pixmap;
}

/// Draws a symbol from its outlines in whatever number of pixels is asked for.
class SymbolEngine : public QIconEngine {
 public:
  SymbolEngine(Symbol symbol, std::optional<QColor> colour) : symbol_(symbol), colour_(colour) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
    const double ratio = painter->device()->devicePixelRatio();
    painter->drawPixmap(rect, pixmap(rect.size() * ratio, mode, state));
  }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
    const bool isTinted = colour_ && mode != QIcon::Disabled;
    return drawn(symbol_, isTinted ? *colour_ : textColour(mode), size);
  }

  /// What the title bar and the list of windows are given.
  QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
    if (symbol_ != Symbol::application) return {};
    return {{16, 16}, {24, 24}, {32, 32}, {48, 48}, {64, 64}, {128, 128}, {256, 256}};
  }

  QIconEngine* clone() const override { return new SymbolEngine(*this); }

 private:
  static QColor textColour(QIcon::Mode mode) {
    const QPalette palette = QGuiApplication::palette();
    if (mode == QIcon::Disabled) return Appearance::current().tertiaryText;
    if (mode == QIcon::Selected) return palette.color(QPalette::HighlightedText);
    return palette.color(QPalette::Active, QPalette::ButtonText);
  }

  Symbol symbol_;
  std::optional<QColor> colour_;
};

}  // namespace

QIcon icon(Symbol symbol) {
  linkIcons();
  return QIcon(new SymbolEngine(symbol, std::nullopt));
}

QIcon icon(Symbol symbol, const QColor& colour) {
  linkIcons();
  return QIcon(new SymbolEngine(symbol, colour));
}

}  // namespace tollbrook::Icons
