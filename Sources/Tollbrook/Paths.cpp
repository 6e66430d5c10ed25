#include "Tollbrook/Paths.h"

#include <QByteArray>
#include <QTextDocument>
#include <algorithm>

#include "TollbrookCore/Support/Files.h"

namespace tollbrook::Paths {

namespace {

/// Breaks the line, turns what follows it round or does something else than being seen.
bool isControl(QChar character) {
  const char16_t unit = character.unicode();
  return character.category() == QChar::Other_Control || unit == QChar::LineSeparator ||
         unit == QChar::ParagraphSeparator || (unit >= 0x202A && unit <= 0x202E) ||
         (unit >= 0x2066 && unit <= 0x2069) || unit == 0x200E || unit == 0x200F || unit == 0x061C;
}

}  // namespace

QString shownText(std::string_view text) {
  QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
  std::replace_if(shown.begin(), shown.end(), isControl, QChar(QChar::ReplacementCharacter));
  return shown;
}

QString shown(const std::filesystem::path& path) { return shownText(path.string()); }

QString shownName(const std::filesystem::path& path) {
  return path.has_filename() ? shown(path.filename()) : shown(path);
}

QString toolTip(const QString& name) {
  return Qt::mightBeRichText(name) ? Qt::convertFromPlainText(name) : name;
}

std::optional<std::filesystem::path> folderAt(const std::filesystem::path& path, std::error_code& error) {
  const std::filesystem::path plain = Files::standardized(path);
  const auto status = std::filesystem::status(plain, error);
  if (error || !std::filesystem::exists(status)) return std::nullopt;
  return std::filesystem::is_directory(status) ? plain : plain.parent_path();
}

std::filesystem::path fromUrl(const QUrl& url) {
  if (!url.isLocalFile()) return {};
  // toLocalFile goes through text and would lose bytes that are no UTF-8; the encoded form keeps them.
  return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString();
}

QUrl toUrl(const std::filesystem::path& path) {
  const std::string bytes = path.string();
  return QUrl::fromEncoded("file://" + QByteArray::fromStdString(bytes).toPercentEncoding("/"));
}

}  // namespace tollbrook::Paths
