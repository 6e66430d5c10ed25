#pragma once

#include <QWidget>

class QLayout;
class QToolBar;

namespace tollbrook {

class Actions;
class AppModel;
class DropFrame;
class FileManager;

/// What fills the main window: the toolbar, the inspector beside the detail list, and the frame that shows
/// while something is dragged over the window, which sends here what happens to it.
class ContentView : public QWidget {
  Q_OBJECT

 public:
  ContentView(AppModel& model, Actions& actions, FileManager& fileManager, QWidget* parent = nullptr);
  ~ContentView() override;

  /// Whether something that could be dropped is over the window.
  bool dropTargeted() const { return dropTargeted_; }

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dragLeaveEvent(QDragLeaveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QLayout* makeToolbar(Actions& actions);
  void setDropTargeted(bool targeted);
  void followFocus(QWidget* before);

  AppModel& model_;
  QToolBar* toolbar_ = nullptr;
  QWidget* scanButton_ = nullptr;
  QWidget* stopButton_ = nullptr;
  QWidget* gaveWay_ = nullptr;  ///< the button that had the focus before "Stop"
  DropFrame* dropFrame_;
  bool dropTargeted_ = false;
};

}  // namespace tollbrook
