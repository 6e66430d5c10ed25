#pragma once

#include <QAbstractButton>
#include <filesystem>
#include <optional>

namespace tollbrook {

class ElidedLabel;
class TextLabel;

/// The card that shows the chosen folder, or asks for one, and is clicked to choose another.
class FolderCard : public QAbstractButton {
  Q_OBJECT

 public:
  explicit FolderCard(QWidget* parent = nullptr);

  void setFolder(const std::optional<std::filesystem::path>& folder);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  ElidedLabel* name_;
  TextLabel* request_;  ///< in place of the name, and wrapped where that is cut
  TextLabel* hint_;
};

}  // namespace tollbrook
