#pragma once

#include <QString>
#include <QUrl>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

/// Between the bytes of a path and the texts of a window.
namespace tollbrook::Paths {

/// A text with names of files in it, such as an error of the engine, as it is shown: in one line. What is not
/// UTF-8 is shown as U+FFFD, and so is a control character and one that would turn what stands after it round
/// (Unicode UAX #9, "explicit directional formatting characters" and "implicit directional marks").
QString shownText(std::string_view text);

/// The path as it is shown, which therefore does not lead back to the file.
QString shown(const std::filesystem::path& path);
/// The last component as it is shown; the whole path where it has none.
QString shownName(const std::filesystem::path& path);

/// A name as a tooltip, which would take one that looks like markup for markup.
QString toolTip(const QString& name);

/// The folder that stands at `path`, or the folder of the file there, with an absolute path in its plainest
/// form; none, with the reason in `error`, when there is nothing.
std::optional<std::filesystem::path> folderAt(const std::filesystem::path& path, std::error_code& error);

/// The local file that a URL names, byte for byte; empty when it names none.
std::filesystem::path fromUrl(const QUrl& url);
/// The "file" URL of an absolute path, byte for byte.
QUrl toUrl(const std::filesystem::path& path);

}  // namespace tollbrook::Paths
