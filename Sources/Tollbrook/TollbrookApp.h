#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

#include "Tollbrook/AppModel.h"
#include "Tollbrook/Desktop/Announcer.h"
#include "Tollbrook/Desktop/FileManager.h"
#include "Tollbrook/Desktop/FolderChooser.h"
#include "Tollbrook/Desktop/KeepAwake.h"
#include "Tollbrook/MainWindow.h"
#include "Tollbrook/SingleInstance.h"

namespace tollbrook {

/// The application: the one model, alive for the whole process, and the one window on it. Main thread only.
class TollbrookApp {
 public:
  struct Desktop {
    std::unique_ptr<KeepAwake> keepAwake = systemKeepAwake();
    std::unique_ptr<FolderChooser> folderChooser = systemFolderChooser();
    std::unique_ptr<FileManager> fileManager = systemFileManager();
    std::unique_ptr<Announcer> announcer = systemAnnouncer();
  };

  TollbrookApp();
  explicit TollbrookApp(Desktop desktop);

  /// Shows the window, with this folder if there is one; else an unfinished job is continued.
  void open(const std::optional<std::filesystem::path>& folder);

  /// Brings the window to the front and opens `folder` in it, unless it is at work on another; then the
  /// window says so. One that is closing stays as it is.
  SingleInstance::Answer takeOver(const std::optional<std::filesystem::path>& folder);

  AppModel& model() { return model_; }
  MainWindow& window() { return window_; }

 private:
  Desktop desktop_;
  AppModel model_;
  MainWindow window_;
};

}  // namespace tollbrook
