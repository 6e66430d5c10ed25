#pragma once

#include <QMainWindow>
#include <chrono>
#include <filesystem>

class QTimer;

namespace tollbrook {

class Actions;
class Announcer;
class AppModel;
class ContentView;
class FileManager;
class Notice;

/// The one window: menus and the content. Closing it ends the program, once the file in hand of a
/// running write is finished and recorded, or has taken too long.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  /// How long a closing window waits for the file in hand. The job's journal covers what takes longer.
  static constexpr std::chrono::milliseconds patience{30000};

  /// The services must outlive the window.
  MainWindow(AppModel& model, FileManager& fileManager, Announcer& announcer, QWidget* parent = nullptr);

  /// How large it opens on a screen with so much room.
  static QSize firstSize(const QSize& room);

  Actions& actions() const { return *actions_; }

  /// Whether it has been closed, or will be once the file in hand is finished.
  bool isClosing() const { return isClosing_; }

  void bringToFront();
  /// Says that `folder` cannot be opened now; until the work at hand has ended.
  void sayBusy(const std::filesystem::path& folder);

 protected:
  bool event(QEvent* event) override;
  void changeEvent(QEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void addMenus();
  void addContent(FileManager& fileManager);
  void followWork();
  void showResult();
  void announceResult(const QString& text);
  void announceContinuation();

  AppModel& model_;
  Announcer& announcer_;
  Actions* actions_;
  ContentView* content_ = nullptr;
  Notice* busyNotice_ = nullptr;
  Notice* resultNotice_ = nullptr;
  QTimer* patience_;
  QString unspokenError_;
  bool isClosing_ = false;
};

}  // namespace tollbrook
