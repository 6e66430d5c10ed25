#include "Tollbrook/SingleInstance.h"

#include <fcntl.h>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <array>
#include <utility>

#include "TollbrookCore/JobJournal.h"

namespace tollbrook {
namespace {

// A request is the bytes of a path, or none, and a NUL; an answer is one of these words and a line feed.
constexpr char endOfRequest = '\0';
constexpr std::array<std::pair<SingleInstance::Answer, const char*>, 4> words{
    {{SingleInstance::Answer::raised, "raised\n"},
     {SingleInstance::Answer::opened, "opened\n"},
     {SingleInstance::Answer::busy, "busy\n"},
     {SingleInstance::Answer::closing, "closing\n"}}};

// Between two tries to reach the first or to take its place.
constexpr unsigned long pauseMilliseconds = 20;

// A program on the same machine that listens is reached at once; this one may begin to listen in a moment.
constexpr int connectMilliseconds = 100;

// No path of any system is longer than this.
constexpr qint64 longestRequest = 65536;

// Socket names are short (sockaddr_un has about a hundred bytes); 64 bits tell one user's stores apart.
constexpr std::size_t nameLength = 16;

std::filesystem::path sessionFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation).toStdString();
}

}  // namespace

SingleInstance::SingleInstance(const std::filesystem::path& store) : SingleInstance(store, sessionFolder()) {}

SingleInstance::SingleInstance(const std::filesystem::path& store,
                               const std::filesystem::path& runtimeFolder) {
  if (runtimeFolder.empty()) return;
  const std::string name = "tollbrook-" + JobJournal::id(store).substr(0, nameLength);
  socket_ = QString::fromStdString((runtimeFolder / name).string());
  const std::filesystem::path lockPath = runtimeFolder / (name + ".lock");
  lockFile_ = Files::Descriptor(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (lockFile_) isFirst_ = lock_.tryAcquire(lockFile_.get()) != Files::Lock::Outcome::taken;
}

void SingleInstance::listen(Receive receive) {
  if (socket_.isEmpty()) return;
  receive_ = std::move(receive);
  server_ = new QLocalServer(this);
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  // Holding the lock, this can only be what a program left that was killed.
  QLocalServer::removeServer(socket_);
  connect(server_, &QLocalServer::newConnection, this, [this] {
    while (QLocalSocket* caller = server_->nextPendingConnection()) {
      connect(caller, &QLocalSocket::readyRead, this, [this, caller] { answer(*caller); });
      connect(caller, &QLocalSocket::disconnected, caller, &QObject::deleteLater);
      answer(*caller);
    }
  });
  // Nobody could hand anything over; later programs are better off with windows of their own.
  if (!server_->listen(socket_)) lock_.release();
}

void SingleInstance::answer(QLocalSocket& caller) {
  const QByteArray request = caller.peek(longestRequest);
  const auto end = request.indexOf(endOfRequest);
  if (end < 0) {
    if (request.size() == longestRequest) caller.abort();
    return;
  }
  caller.readAll();
  std::optional<std::filesystem::path> folder;
  if (end > 0) folder = request.first(end).toStdString();
  const Answer answer = receive_(folder);
  for (const auto& [value, word] : words) {
    if (value == answer) caller.write(word);
  }
  caller.disconnectFromServer();
}

std::optional<SingleInstance::Answer> SingleInstance::handOver(
    const std::optional<std::filesystem::path>& folder, const Limits& limits) {
  const QByteArray request =
      QByteArray::fromStdString(folder ? folder->string() : std::string()) + endOfRequest;
  QDeadlineTimer deadline(limits.answer);
  bool closing = false;
  // It may hold the lock and not listen yet, or not any more. Another that waits as well may take the place
  // of one that closes, and then answers for itself.
  do {
    const auto answer = ask(request, deadline);
    if (answer && *answer != Answer::closing) return answer;
    if (answer && !closing) {
      closing = true;
      deadline = QDeadlineTimer(limits.closing);
    }
    isFirst_ = lock_.tryAcquire(lockFile_.get()) != Files::Lock::Outcome::taken;
    if (isFirst_) return std::nullopt;
    QThread::msleep(pauseMilliseconds);
  } while (!deadline.hasExpired());
  return std::nullopt;
}

std::optional<SingleInstance::Answer> SingleInstance::ask(const QByteArray& request,
                                                          const QDeadlineTimer& deadline) const {
  QLocalSocket first;
  first.connectToServer(socket_);
  if (!first.waitForConnected(connectMilliseconds)) return std::nullopt;
  first.write(request);
  while (!first.canReadLine()) {
    if (!first.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) return std::nullopt;
  }
  const QByteArray line = first.readLine();
  for (const auto& [value, word] : words) {
    if (line == word) return value;
  }
  return std::nullopt;
}

}  // namespace tollbrook
