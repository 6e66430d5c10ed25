#pragma once

#include <QFontMetrics>
#include <QGlyphRun>
#include <QRawFont>
#include <QString>
#include <vector>

class QPainter;

namespace tollbrook {

/// Draws single lines of text in one font, cut to a width, and takes no memory for it: the glyph of each
/// character is looked up once, then a line is only a list of them, in buffers that are kept. Main thread
/// only.
///
/// This is for Latin, Greek and Cyrillic text without combining marks, whose glyphs stand one beside the
/// other; it does not kern. All other text, and characters that the font lacks, are laid out by Qt each time,
/// which takes memory each time.
class GlyphText {
 public:
  explicit GlyphText(const QFont& font);

  /// How many pixels all of `text` takes.
  int width(const QString& text) const;

  /// What is drawn of `text` in so many pixels.
  QString cut(const QString& text, int width, Qt::TextElideMode mode) const;

  /// Draws that in the painter's pen at the top of `room`, at the side where a line of this direction begins.
  /// The text itself runs as its first letter does, wherever it stands.
  void draw(QPainter& painter, const QRect& room, Qt::LayoutDirection direction, const QString& text,
            Qt::TextElideMode mode) const;

 private:
  struct Glyph {
    quint32 index = 0;
    float advance = -1;  ///< in pixels; -1 before it is looked up
  };

  /// How many units at either end of a text are shown; all when they are all of them.
  struct Ends {
    qsizetype left;
    qsizetype right;
  };

  const Glyph& glyph(char16_t unit) const;
  bool isPlain(const QString& text) const;
  double advance(QChar character) const;
  double length(const QString& text) const;
  Ends fitting(const QString& text, double width, Qt::TextElideMode mode) const;
  void append(QStringView part, double& x) const;

  QFont font_;
  QFontMetrics metrics_;
  QRawFont raw_;
  mutable std::vector<Glyph> glyphs_;  ///< by code unit
  // What is being drawn.
  mutable std::vector<quint32> indexes_;
  mutable std::vector<QPointF> positions_;
  mutable QGlyphRun run_;
};

}  // namespace tollbrook
