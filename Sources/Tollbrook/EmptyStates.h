#pragma once

#include <QWidget>

namespace tollbrook {

class Actions;

/// What the detail list shows before a folder is chosen.
class WelcomeView : public QWidget {
  Q_OBJECT

 public:
  explicit WelcomeView(Actions& actions, QWidget* parent = nullptr);
};

/// What it shows for a folder without photos and videos.
class NoMediaView : public QWidget {
  Q_OBJECT

 public:
  explicit NoMediaView(QWidget* parent = nullptr);
};

}  // namespace tollbrook
