#include "Tollbrook/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

#include "Tollbrook/Actions.h"
#include "Tollbrook/AppModel.h"
#include "Tollbrook/ContentView.h"
#include "Tollbrook/Desktop/Announcer.h"
#include "Tollbrook/Notice.h"
#include "Tollbrook/Paths.h"
#include "Tollbrook/Summaries.h"

namespace tollbrook {

MainWindow::MainWindow(AppModel& model, FileManager& fileManager, Announcer& announcer, QWidget* parent)
    : QMainWindow(parent),
      model_(model),
      announcer_(announcer),
      actions_(new Actions(model, this)),
      patience_(new QTimer(this)) {
  setObjectName(QStringLiteral("mainWindow"));
  setWindowTitle(tr("Tollbrook"));
  resize(firstSize(screen()->availableSize()));
  addMenus();
  addContent(fileManager);

  patience_->setObjectName(QStringLiteral("patience"));
  patience_->setSingleShot(true);
  patience_->setInterval(patience);
  connect(patience_, &QTimer::timeout, this, &QWidget::close);
  // Queued: the model has more to say about the end of its work.
  connect(&model_, &AppModel::isApplyingChanged, this, &MainWindow::followWork, Qt::QueuedConnection);
  connect(&model_, &AppModel::isScanningChanged, this, &MainWindow::followWork, Qt::QueuedConnection);
  connect(&model_, &AppModel::outcomeChanged, this, &MainWindow::showResult, Qt::QueuedConnection);
  connect(&model_, &AppModel::statusLineChanged, this, &MainWindow::announceContinuation);
  connect(&model_, &AppModel::lastErrorChanged, this, [this] { unspokenError_ = model_.lastError(); });
}

// Not every window manager makes a window smaller that would not fit.
QSize MainWindow::firstSize(const QSize& room) {
  constexpr QSize usual(980, 660);
  constexpr int frame = 40;  // at most, above the window
  return usual.boundedTo({room.width(), room.height() - frame});
}

void MainWindow::addMenus() {
  QMenu* file = menuBar()->addMenu(tr("&File"));
  file->setObjectName(QStringLiteral("fileMenu"));
  file->addAction(actions_->chooseFolder());
  file->addSeparator();
  QAction* quit = file->addAction(tr("&Quit"));
  quit->setObjectName(QStringLiteral("quit"));
  quit->setShortcut(Qt::CTRL | Qt::Key_Q);
  quit->setMenuRole(QAction::QuitRole);
  connect(quit, &QAction::triggered, this, &QWidget::close);

  QMenu* fix = menuBar()->addMenu(tr("Fi&x"));
  fix->setObjectName(QStringLiteral("fixMenu"));
  fix->addActions({actions_->scanFolder(), actions_->writeMetadata(), actions_->stop()});
}

void MainWindow::addContent(FileManager& fileManager) {
  auto* whole = new QWidget(this);
  auto* column = new QVBoxLayout(whole);
  column->setContentsMargins({});
  column->setSpacing(0);
  busyNotice_ = new Notice(QStringLiteral("busyNotice"), whole);
  resultNotice_ = new Notice(QStringLiteral("resultNotice"), whole);
  content_ = new ContentView(model_, *actions_, fileManager, whole);
  column->addWidget(busyNotice_);
  column->addWidget(resultNotice_);
  column->addWidget(content_, 1);
  setCentralWidget(whole);
  setAcceptDrops(true);
}

// The content takes what is dropped anywhere on the window. Sent to it as usual, an event would come back
// here.
bool MainWindow::event(QEvent* event) {
  switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::DragLeave:
    case QEvent::Drop:
      return static_cast<QObject*>(content_)->event(event);
    default:
      return QMainWindow::event(event);
  }
}

// What has a font or colours of its own inherits no change, and Qt does not tell it of the system's new ones.
void MainWindow::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() != QEvent::FontChange && event->type() != QEvent::PaletteChange) return;
  if (centralWidget() == nullptr) return;
  QEvent change(event->type());
  for (QWidget* part : centralWidget()->findChildren<QWidget*>()) QApplication::sendEvent(part, &change);
}

void MainWindow::bringToFront() {
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
}

void MainWindow::sayBusy(const std::filesystem::path& folder) {
  const QString other = Paths::shownName(folder);
  busyNotice_->say(model_.folder() ? tr("Tollbrook is busy with %1. Open %2 again when it has finished.")
                                         .arg(Paths::shownName(*model_.folder()), other)
                                   : tr("Tollbrook is busy. Open %1 again when it has finished.").arg(other));
  announcer_.announce(*this, busyNotice_->text());
}

void MainWindow::closeEvent(QCloseEvent* event) {
  const bool isFirstTime = !std::exchange(isClosing_, true);
  const bool waitedEnough = !isFirstTime && !patience_->isActive();
  if (model_.isBusy()) model_.stop();
  if (!model_.isApplying() || waitedEnough) return event->accept();
  event->ignore();
  if (isFirstTime) patience_->start();
}

void MainWindow::followWork() {
  if (!model_.isBusy()) {
    busyNotice_->hide();
    announceResult(model_.statusLine());
  }
  // A finished run may have begun to scan its folder again; nobody waits for that.
  if (isClosing_ && !model_.isApplying()) close();
}

// Where a scan follows the run, it takes the status line at once, and what the run did would be seen by
// nobody.
void MainWindow::showResult() {
  const auto& outcome = model_.outcome();
  if (!outcome) resultNotice_->hide();
  if (!outcome || !model_.isScanning()) return;
  resultNotice_->say(Summaries::of(*outcome));
  announceResult(resultNotice_->text());
}

// In one go with the error, if there is one, since of two announcements the second may cut the first off.
void MainWindow::announceResult(const QString& text) {
  const QString error = std::exchange(unspokenError_, QString());
  announcer_.announce(*this, error.isEmpty() ? text : text + QLatin1Char('\n') + error);
}

// Work that goes on by itself, before it begins; what else begins was asked for.
void MainWindow::announceContinuation() {
  if (model_.isResuming() && !model_.isApplying()) announcer_.announce(*this, model_.statusLine());
}

}  // namespace tollbrook
