#include <QApplication>
#include <QFileDialog>
#include <QPointer>

#include "Tollbrook/Desktop/FolderChooser.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

class FolderDialog : public FolderChooser {
 public:
  void choose(const QString& prompt, const QString& message, Chosen chosen) override {
    if (dialog_) {
      dialog_->raise();
      dialog_->activateWindow();
      return;
    }
    // These dialogs have no line for a message; their title is where it can be read.
    dialog_ = new QFileDialog(QApplication::activeWindow(), message);
    dialog_->setObjectName(QStringLiteral("folderChooser"));
    dialog_->setAttribute(Qt::WA_DeleteOnClose);
    dialog_->setFileMode(QFileDialog::Directory);
    dialog_->setOption(QFileDialog::ShowDirsOnly);
    // Desktops also have folders that no path leads to.
    dialog_->setSupportedSchemes({QStringLiteral("file")});
    dialog_->setLabelText(QFileDialog::Accept, prompt);
    QObject::connect(
        dialog_, &QDialog::accepted, dialog_, [dialog = dialog_.get(), chosen = std::move(chosen)] {
          const QList<QUrl> urls = dialog->selectedUrls();
          const auto folder = urls.isEmpty() ? std::filesystem::path() : Paths::fromUrl(urls.front());
          if (!folder.empty()) chosen(folder);
        });
    dialog_->open();
  }

 private:
  QPointer<QFileDialog> dialog_;
};

}  // namespace

std::unique_ptr<FolderChooser> systemFolderChooser() { return std::make_unique<FolderDialog>(); }

}  // namespace tollbrook
