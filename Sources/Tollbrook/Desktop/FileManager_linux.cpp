#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>

#include "Tollbrook/Desktop/FileManager.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

// The File Manager D-Bus Interface of freedesktop.org, version 1.
class DesktopFileManager : public FileManager {
 public:
  void reveal(const std::filesystem::path& file) override {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList(QString::fromUtf8(Paths::toUrl(file).toEncoded())) << QString();
    auto* answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    QObject::connect(answer, &QDBusPendingCallWatcher::finished, answer,
                     [answer, folder = file.parent_path()] {
                       if (answer->isError()) QDesktopServices::openUrl(Paths::toUrl(folder));
                       answer->deleteLater();
                     });
  }
};

}  // namespace

std::unique_ptr<FileManager> systemFileManager() { return std::make_unique<DesktopFileManager>(); }

}  // namespace tollbrook
