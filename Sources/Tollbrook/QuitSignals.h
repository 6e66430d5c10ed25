#pragma once

#include <QObject>

namespace tollbrook {

/// Turns the signals by which a session or a terminal ends a program (SIGTERM, SIGINT, SIGHUP) into a Qt
/// signal, so that a running write can finish its file. One object per program.
class QuitSignals : public QObject {
  Q_OBJECT

 public:
  explicit QuitSignals(QObject* parent = nullptr);
  ~QuitSignals() override;

 Q_SIGNALS:
  void quitRequested();
};

}  // namespace tollbrook
