#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

#include "TollbrookCore/Support/Files.h"

class QDeadlineTimer;
class QLocalServer;
class QLocalSocket;

namespace tollbrook {

/// Lets one program at a time show a window for a job store. Whoever takes the lock beside the socket is the
/// first and listens; others hand it the folder that they were started with. The system lets go of the lock
/// when its holder ends, however it ends. Main thread only.
class SingleInstance : public QObject {
  Q_OBJECT

 public:
  enum class Answer {
    raised,  ///< the window came to the front
    opened,  ///< and opens the folder
    busy,    ///< and works on another
    closing  ///< it is going away, once the file in hand is finished
  };
  using Receive = std::function<Answer(const std::optional<std::filesystem::path>& folder)>;

  /// How long the first instance is given to answer, and to end once it has said that it is closing.
  struct Limits {
    std::chrono::milliseconds answer{5000};
    std::chrono::milliseconds closing{40000};
  };

  /// Of the programs for this job store, which need not exist.
  explicit SingleInstance(const std::filesystem::path& store);
  /// In another folder than that of the user's session, which takes only this user's files.
  SingleInstance(const std::filesystem::path& store, const std::filesystem::path& runtimeFolder);

  /// Whether there was no other. One that cannot tell, for want of a folder or of locks, counts as first.
  bool isFirst() const { return isFirst_; }

  /// For the first: calls `receive` for every later start from now on. Where it cannot listen, it makes way,
  /// and the next one counts as first too.
  void listen(Receive receive);

  /// For the others: gives the first one `folder` and returns its answer. None when it does not answer in
  /// time, or has ended meanwhile: then this one has become the first, as isFirst() says. It waits for the
  /// end of one that is closing.
  std::optional<Answer> handOver(const std::optional<std::filesystem::path>& folder, const Limits& limits);
  std::optional<Answer> handOver(const std::optional<std::filesystem::path>& folder) {
    return handOver(folder, Limits());
  }

 private:
  std::optional<Answer> ask(const QByteArray& request, const QDeadlineTimer& deadline) const;
  void answer(QLocalSocket& caller);

  QString socket_;
  Files::Descriptor lockFile_;
  Files::Lock lock_;
  bool isFirst_ = true;
  Receive receive_;
  QLocalServer* server_ = nullptr;
};

}  // namespace tollbrook
