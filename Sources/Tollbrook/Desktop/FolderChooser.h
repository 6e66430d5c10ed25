#pragma once

#include <QString>
#include <filesystem>
#include <functional>
#include <memory>

namespace tollbrook {

/// Asks the user for one folder. Main thread only.
class FolderChooser {
 public:
  using Chosen = std::function<void(const std::filesystem::path& folder)>;

  virtual ~FolderChooser() = default;

  /// Opens the question, modal to the active window, and returns at once. `prompt` is the word on its button,
  /// `message` what it says. `chosen` is called when the user confirms, and never when the user cancels. A
  /// question that is still open comes to the front instead.
  virtual void choose(const QString& prompt, const QString& message, Chosen chosen) = 0;
};

/// The folder chooser of the system that the program runs on.
std::unique_ptr<FolderChooser> systemFolderChooser();

}  // namespace tollbrook
