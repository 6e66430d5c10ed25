#pragma once

#include <QAction>
#include <QObject>

namespace tollbrook {

class AppModel;

/// The commands of the program, one action each, which menu, toolbar and buttons share: two actions with the
/// same shortcut would fire neither. Each is enabled exactly while the model allows it.
class Actions : public QObject {
  Q_OBJECT

 public:
  explicit Actions(AppModel& model, QObject* parent = nullptr);

  QAction* chooseFolder() const { return chooseFolder_; }
  QAction* scanFolder() const { return scanFolder_; }
  QAction* writeMetadata() const { return writeMetadata_; }
  QAction* stop() const { return stop_; }

 private:
  void update();

  AppModel& model_;
  QAction* chooseFolder_;
  QAction* scanFolder_;
  QAction* writeMetadata_;
  QAction* stop_;
};

}  // namespace tollbrook
