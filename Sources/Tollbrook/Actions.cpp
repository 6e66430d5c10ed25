#include "Tollbrook/Actions.h"

#include "Tollbrook/AppModel.h"
#include "Tollbrook/Icons.h"

namespace tollbrook {

Actions::Actions(AppModel& model, QObject* parent)
    : QObject(parent),
      model_(model),
      chooseFolder_(new QAction(tr("Choose Folder…"), this)),
      scanFolder_(new QAction(tr("Scan Folder"), this)),
      writeMetadata_(new QAction(tr("Write Metadata"), this)),
      stop_(new QAction(tr("Stop"), this)) {
  chooseFolder_->setObjectName(QStringLiteral("chooseFolder"));
  scanFolder_->setObjectName(QStringLiteral("scanFolder"));
  writeMetadata_->setObjectName(QStringLiteral("writeMetadata"));
  stop_->setObjectName(QStringLiteral("stop"));

  chooseFolder_->setShortcut(Qt::CTRL | Qt::Key_O);
  scanFolder_->setShortcut(Qt::CTRL | Qt::Key_R);
  writeMetadata_->setShortcuts({Qt::CTRL | Qt::Key_Return, Qt::CTRL | Qt::Key_Enter});
  stop_->setShortcut(Qt::CTRL | Qt::Key_Period);

  // A key that is held down asks once.
  for (QAction* action : {chooseFolder_, scanFolder_, writeMetadata_, stop_}) action->setAutoRepeat(false);

  scanFolder_->setIconText(tr("Scan"));
  scanFolder_->setIcon(Icons::icon(Icons::Symbol::magnifyingGlass));
  writeMetadata_->setIcon(Icons::icon(Icons::Symbol::clockWithReturningArrow));
  stop_->setIcon(Icons::icon(Icons::Symbol::stop));

  connect(chooseFolder_, &QAction::triggered, &model_, &AppModel::chooseFolder);
  connect(scanFolder_, &QAction::triggered, &model_, &AppModel::scan);
  connect(writeMetadata_, &QAction::triggered, &model_, [this] { model_.apply(); });
  connect(stop_, &QAction::triggered, &model_, &AppModel::stop);

  connect(&model_, &AppModel::folderChanged, this, &Actions::update);
  connect(&model_, &AppModel::reportChanged, this, &Actions::update);
  connect(&model_, &AppModel::isScanningChanged, this, &Actions::update);
  connect(&model_, &AppModel::isApplyingChanged, this, &Actions::update);
  update();
}

void Actions::update() {
  const bool busy = model_.isBusy();
  // The focus of a button that goes passes to the next one in the toolbar that is there: to "Stop".
  if (busy) stop_->setEnabled(true);
  writeMetadata_->setEnabled(model_.canApply());
  scanFolder_->setEnabled(model_.folder().has_value() && !busy);
  if (!busy) stop_->setEnabled(false);
}

}  // namespace tollbrook
