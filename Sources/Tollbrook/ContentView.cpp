#include "Tollbrook/ContentView.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QMimeData>
#include <QPainter>
#include <QSplitter>
#include <QToolBar>
#include <QUrl>
#include <QVBoxLayout>
#include <utility>

#include "Tollbrook/Actions.h"
#include "Tollbrook/AppModel.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/DetailList.h"
#include "Tollbrook/DropFrame.h"
#include "Tollbrook/Inspector.h"

namespace tollbrook {
namespace {

bool offersAFile(const QMimeData& data) {
  const QList<QUrl> urls = data.urls();
  return !urls.isEmpty() && urls.front().isLocalFile();
}

// What is dropped here stays where it is, whatever the program that it comes from proposes: after a move that
// program might delete it.
void acceptAsCopy(QDropEvent& event) {
  event.setDropAction(Qt::CopyAction);
  event.accept();
}

}  // namespace

ContentView::ContentView(AppModel& model, Actions& actions, FileManager& fileManager, QWidget* parent)
    : QWidget(parent), model_(model), dropFrame_(new DropFrame(this)) {
  setObjectName(QStringLiteral("contentView"));

  // Made first, for the tab key to go to it first.
  QLayout* const toolbar = makeToolbar(actions);
  auto* columns = new QSplitter(Qt::Horizontal, this);
  columns->setObjectName(QStringLiteral("columns"));
  columns->setChildrenCollapsible(false);
  columns->addWidget(new Inspector(model, actions, this));
  columns->addWidget(new DetailList(model, actions, fileManager, this));
  columns->setStretchFactor(0, 0);
  columns->setStretchFactor(1, 1);
  columns->setSizes({Inspector::idealWidth, 2 * Inspector::idealWidth});

  auto* column = new QVBoxLayout(this);
  column->setContentsMargins({});
  column->setSpacing(0);
  column->addLayout(toolbar);
  column->addWidget(columns, 1);
}

// The focus still moves while the parts are destroyed, after this.
ContentView::~ContentView() { disconnect(qApp, nullptr, this, nullptr); }

QLayout* ContentView::makeToolbar(Actions& actions) {
  toolbar_ = new QToolBar(tr("Commands"), this);
  toolbar_->setObjectName(QStringLiteral("toolbar"));
  toolbar_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  for (QAction* action : {actions.scanFolder(), actions.writeMetadata(), actions.stop()}) {
    toolbar_->addAction(action);
    QWidget* const button = toolbar_->widgetForAction(action);
    button->setObjectName(action->objectName() + QStringLiteral("ToolButton"));
    button->setFocusPolicy(Qt::TabFocus);
  }
  scanButton_ = toolbar_->widgetForAction(actions.scanFolder());
  stopButton_ = toolbar_->widgetForAction(actions.stop());
  connect(qApp, &QApplication::focusChanged, this, &ContentView::followFocus);
  // The commands stand at the window's end, away from the inspector, which has buttons of its own.
  auto* row = new QHBoxLayout;
  row->setContentsMargins({});
  row->addStretch(1);
  row->addWidget(toolbar_);
  return row;
}

void ContentView::paintEvent(QPaintEvent*) {
  const Appearance& shades = Appearance::current();
  QPainter painter(this);
  const int bottom = toolbar_->geometry().bottom();
  painter.fillRect(0, 0, width(), bottom + 1, shades.chrome);
  painter.fillRect(0, bottom, width(), 1, shades.hairline);
}

void ContentView::dragEnterEvent(QDragEnterEvent* event) {
  if (!offersAFile(*event->mimeData())) return;
  acceptAsCopy(*event);
  setDropTargeted(true);
}

void ContentView::dragMoveEvent(QDragMoveEvent* event) { acceptAsCopy(*event); }

void ContentView::dragLeaveEvent(QDragLeaveEvent*) { setDropTargeted(false); }

void ContentView::dropEvent(QDropEvent* event) {
  setDropTargeted(false);
  if (model_.acceptDrop(event->mimeData()->urls())) acceptAsCopy(*event);
}

void ContentView::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  dropFrame_->setGeometry(rect());
}

// A button that is disabled passes the focus on: "Scan" and "Write Metadata" to "Stop", which gives it back
// instead of handing it to the inspector.
void ContentView::followFocus(QWidget* before) {
  if (before == nullptr || before->parentWidget() != toolbar_) return;
  if (before != stopButton_) {
    if (!before->isEnabled()) gaveWay_ = before;
    return;
  }
  QWidget* const button = std::exchange(gaveWay_, nullptr);
  if (stopButton_->isEnabled()) return;
  (button != nullptr && button->isEnabled() ? button : scanButton_)->setFocus();
}

void ContentView::setDropTargeted(bool targeted) {
  if (dropTargeted_ == targeted) return;
  dropTargeted_ = targeted;
  dropFrame_->setShown(targeted);
}

}  // namespace tollbrook
