#include "Tollbrook/Inspector.h"

#include <QAction>
#include <QHBoxLayout>
#include <QPainter>
#include <QProgressBar>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <utility>

#include "Tollbrook/Actions.h"
#include "Tollbrook/AppModel.h"
#include "Tollbrook/Appearance.h"
#include "Tollbrook/Card.h"
#include "Tollbrook/ChipRow.h"
#include "Tollbrook/Divider.h"
#include "Tollbrook/ElidedLabel.h"
#include "Tollbrook/FolderCard.h"
#include "Tollbrook/IconView.h"
#include "Tollbrook/Icons.h"
#include "Tollbrook/Palette.h"
#include "Tollbrook/ScrollingColumn.h"
#include "Tollbrook/SelectableText.h"
#include "Tollbrook/SettlingButton.h"
#include "Tollbrook/StatChip.h"
#include "Tollbrook/Style.h"
#include "Tollbrook/TextLabel.h"
#include "Tollbrook/Toggle.h"
#include "Tollbrook/WrappingText.h"

namespace tollbrook {
namespace {

using Icons::Symbol;
using Typography::TextStyle;

constexpr int edge = 20;  // around the column
constexpr int besideFocus = edge - Style::focusRoom;
constexpr int betweenSections = 16;
constexpr int betweenRelated = 8;
constexpr int progressHeight = 6;

struct OptionToggle {
  const char* name;
  const char* text;
  bool RestoreOptions::*field;
};

constexpr std::array optionToggles{
    OptionToggle{"writeFileDates", QT_TRANSLATE_NOOP("tollbrook::Inspector", "File created & modified dates"),
                 &RestoreOptions::writeFileDates},
    OptionToggle{"writeEmbedded",
                 QT_TRANSLATE_NOOP("tollbrook::Inspector", "Embedded EXIF / GPS (and video dates)"),
                 &RestoreOptions::writeEmbedded},
    OptionToggle{"writeCaptions", QT_TRANSLATE_NOOP("tollbrook::Inspector", "Captions from JSON"),
                 &RestoreOptions::writeCaptions},
    OptionToggle{"skipIfDatesMatch",
                 QT_TRANSLATE_NOOP("tollbrook::Inspector", "Skip files whose dates already match"),
                 &RestoreOptions::skipIfDatesMatch},
    OptionToggle{"deleteSidecars",
                 QT_TRANSLATE_NOOP("tollbrook::Inspector", "Delete JSON after a successful write"),
                 &RestoreOptions::deleteSidecars}};

TextLabel* wrapping(const QString& text, TextStyle style, TextLabel::Tone tone) {
  auto* label = new TextLabel(text, style, tone);
  label->setWordWrap(true);
  return label;
}

TextLabel* caption(const QString& text) {
  return new TextLabel(text, TextStyle::captionSemibold, TextLabel::Tone::secondary);
}

/// What has no room of its own for a focus ring, in line with what has.
QLayout* inset(QWidget* widget) {
  auto* row = new QHBoxLayout;
  row->setContentsMargins(Style::focusRoom, 0, Style::focusRoom, 0);
  row->addWidget(widget);
  return row;
}

}  // namespace

Inspector::Inspector(AppModel& model, Actions& actions, QWidget* parent) : QWidget(parent), model_(model) {
  setObjectName(QStringLiteral("inspector"));
  setMaximumWidth(mostWidth);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins({});
  column->setSpacing(0);
  column->addWidget(makeScrollingColumn(), 1);
  column->addWidget(new Divider);
  column->addWidget(makeFoot(actions));
  observeModel();
}

QSize Inspector::minimumSizeHint() const {
  const QSize needed = QWidget::minimumSizeHint();
  return {std::clamp(needed.width(), leastWidth, mostWidth), needed.height()};
}

void Inspector::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), Appearance::current().chrome);
}

// No long path in an error or a status may take more of the column, lest the end of it be out of reach.
void Inspector::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  for (SelectableText* text : {statusLine_, error_}) {
    text->limitHeight(std::max(height() / 3, 2 * text->sizeHint().height()));
  }
}

QWidget* Inspector::makeScrollingColumn() {
  auto* area = new ScrollingColumn({besideFocus, edge, besideFocus, betweenSections}, this);
  area->setObjectName(QStringLiteral("inspectorScroll"));
  QVBoxLayout* const column = area->column();
  column->setSpacing(betweenSections);
  column->addLayout(inset(makeHeader()));
  column->addLayout(inset(makeResumeBanner()));
  column->addWidget(makeFolderCard());
  column->addLayout(inset(makeStats()));
  column->addWidget(makeOptions());
  column->addLayout(inset(makeSafety()));
  column->addStretch(1);
  return area;
}

// A widget, since a layout of its own would be no wider than the inset of an error that is hidden.
QWidget* Inspector::makeFoot(Actions& actions) {
  auto* foot = new QWidget;
  auto* column = new QVBoxLayout(foot);
  column->setContentsMargins(besideFocus, 12, besideFocus, betweenSections - Style::focusRoom);
  column->setSpacing(betweenRelated - 2 * Style::focusRoom);
  column->addWidget(makeActions(actions));
  column->addWidget(makeError());
  return foot;
}

QWidget* Inspector::makeSection(const QString& name, QVBoxLayout*& column) const {
  auto* section = new QWidget;
  section->setObjectName(name);
  column = new QVBoxLayout(section);
  column->setContentsMargins({});
  column->setSpacing(betweenRelated);
  return section;
}

QWidget* Inspector::makeHeader() {
  QVBoxLayout* column = nullptr;
  QWidget* const section = makeSection(QStringLiteral("header"), column);
  column->setSpacing(4);
  column->addWidget(new TextLabel(tr("Tollbrook"), TextStyle::title));
  column->addWidget(wrapping(tr("Puts Takeout and Ferrywell JSON dates, GPS and captions back onto the files "
                                "they belong to. Nested folders are included; size is not capped."),
                             TextStyle::callout, TextLabel::Tone::secondary));
  return section;
}

QWidget* Inspector::makeResumeBanner() {
  resumeBanner_ = new Card(QStringLiteral("resumeBanner"), Palette::amber);
  auto* row = new QHBoxLayout(resumeBanner_);
  row->setContentsMargins(12, 10, 12, 10);
  row->setSpacing(betweenRelated);
  auto* symbol = new IconView(Icons::icon(Symbol::returningArrow, Palette::amber), 16);
  symbol->setObjectName(QStringLiteral("resumeSymbol"));
  row->addWidget(symbol, 0, Qt::AlignTop);
  resumeText_ = new WrappingText(QString(), TextStyle::callout);
  resumeText_->setObjectName(QStringLiteral("resumeText"));
  row->addWidget(resumeText_, 1);
  return resumeBanner_;
}

QWidget* Inspector::makeFolderCard() {
  QVBoxLayout* column = nullptr;
  QWidget* const section = makeSection(QStringLiteral("folder"), column);
  folderCard_ = new FolderCard;
  connect(folderCard_, &QAbstractButton::clicked, &model_, &AppModel::chooseFolder);
  column->addLayout(inset(folderCard_));
  recursive_ = new Toggle(tr("Include subfolders"));
  recursive_->setObjectName(QStringLiteral("recursive"));
  connect(recursive_, &QAbstractButton::toggled, &model_, &AppModel::setRecursive);
  column->addWidget(recursive_);
  return section;
}

QWidget* Inspector::makeStats() {
  QVBoxLayout* column = nullptr;
  stats_ = makeSection(QStringLiteral("stats"), column);
  column->addWidget(caption(tr("This folder")));
  auto* chips = new ChipRow;
  const auto addChip = [&](const QString& label, const QString& name) {
    auto* chip = new StatChip(label);
    chip->setObjectName(name);
    chips->add(chip);
    return chip;
  };
  mediaCount_ = addChip(tr("media"), QStringLiteral("mediaCount"));
  matchedCount_ = addChip(tr("ready"), QStringLiteral("matchedCount"));
  unmatchedCount_ = addChip(tr("no JSON"), QStringLiteral("unmatchedCount"));
  column->addWidget(chips);
  orphans_ = wrapping(QString(), TextStyle::caption, TextLabel::Tone::secondary);
  orphans_->setObjectName(QStringLiteral("orphanJSONCount"));
  column->addWidget(orphans_);
  return stats_;
}

QWidget* Inspector::makeOptions() {
  QVBoxLayout* column = nullptr;
  QWidget* const section = makeSection(QStringLiteral("options"), column);
  column->setSpacing(2);
  column->addLayout(inset(caption(tr("When writing"))));
  for (const OptionToggle& option : optionToggles) {
    auto* toggle = new Toggle(tr(option.text));
    toggle->setObjectName(QLatin1String(option.name));
    connect(toggle, &QAbstractButton::toggled, this, [this, field = option.field](bool on) {
      RestoreOptions options = model_.options();
      options.*field = on;
      model_.setOptions(options);
    });
    options_.append(toggle);
    column->addWidget(toggle);
  }
  return section;
}

QWidget* Inspector::makeSafety() {
  QVBoxLayout* column = nullptr;
  QWidget* const section = makeSection(QStringLiteral("safety"), column);
  column->setSpacing(4);
  column->addWidget(caption(tr("Safety")));
  column->addWidget(wrapping(
      tr("Photos are never deleted. Each file is finished (and recorded) before the next one starts, "
         "so a crash or dead battery retries only the file that was in flight. Reopening the app "
         "continues automatically. This Mac stays awake while writing."),
      TextStyle::callout, TextLabel::Tone::secondary));
  return section;
}

QWidget* Inspector::makeActions(Actions& actions) {
  QVBoxLayout* column = nullptr;
  QWidget* const section = makeSection(QStringLiteral("actions"), column);
  column->setSpacing(betweenRelated - Style::focusRoom);

  write_ =
      new SettlingButton(Icons::icon(Symbol::clockWithReturningArrow, Palette::ink), tr("Write metadata"));
  write_->setObjectName(QStringLiteral("writeButton"));
  write_->setDefault(true);
  connect(actions.writeMetadata(), &QAction::enabledChanged, this, &Inspector::showBusy);
  connect(write_, &QAbstractButton::clicked, actions.writeMetadata(), &QAction::trigger);
  column->addWidget(write_);

  QVBoxLayout* running = nullptr;
  running_ = makeSection(QStringLiteral("running"), running);
  progress_ = new QProgressBar;
  progress_->setObjectName(QStringLiteral("progress"));
  progress_->setAccessibleName(tr("Progress"));
  progress_->setTextVisible(false);
  progress_->setFixedHeight(progressHeight);
  stop_ = new SettlingButton(actions.stop()->icon(), tr("Stop after this file"));
  stop_->setObjectName(QStringLiteral("stopButton"));
  connect(stop_, &QAbstractButton::clicked, actions.stop(), &QAction::trigger);
  running->addLayout(inset(progress_));
  running->addWidget(stop_);
  column->addWidget(running_);

  currentFile_ = new ElidedLabel(QString(), TextStyle::monospacedSmall, TextLabel::Tone::secondary);
  currentFile_->setObjectName(QStringLiteral("currentFile"));
  currentFile_->makeSelectable();
  column->addWidget(currentFile_);
  statusLine_ = new SelectableText(TextStyle::caption, SelectableText::Tone::secondary);
  statusLine_->setObjectName(QStringLiteral("statusLine"));
  statusLine_->setAccessibleName(tr("Status"));
  column->addWidget(statusLine_);
  return section;
}

QWidget* Inspector::makeError() {
  error_ = new SelectableText(TextStyle::callout, SelectableText::Tone::error);
  error_->setObjectName(QStringLiteral("lastError"));
  error_->setAccessibleName(tr("Error"));
  return error_;
}

void Inspector::observeModel() {
  const auto show = [this](auto changed, void (Inspector::*display)()) {
    connect(&model_, changed, this, display);
    (this->*display)();
  };
  show(&AppModel::isResumingChanged, &Inspector::showResumeBanner);
  show(&AppModel::resumeFolderNameChanged, &Inspector::showResumeBanner);
  show(&AppModel::folderChanged, &Inspector::showFolder);
  show(&AppModel::reportChanged, &Inspector::showStats);
  show(&AppModel::optionsChanged, &Inspector::showOptions);
  show(&AppModel::recursiveChanged, &Inspector::showOptions);
  show(&AppModel::isScanningChanged, &Inspector::showBusy);
  show(&AppModel::isApplyingChanged, &Inspector::showBusy);
  show(&AppModel::progressDoneChanged, &Inspector::showProgress);
  show(&AppModel::progressTotalChanged, &Inspector::showProgress);
  show(&AppModel::currentFileChanged, &Inspector::showCurrentFile);
  show(&AppModel::statusLineChanged, &Inspector::showStatus);
  show(&AppModel::lastErrorChanged, &Inspector::showError);
}

void Inspector::showResumeBanner() {
  const QString folder =
      model_.resumeFolderName().isEmpty() ? tr("the last folder") : model_.resumeFolderName();
  resumeText_->setText(tr("Continuing unfinished work in %1. Files already done are skipped.").arg(folder));
  resumeBanner_->setVisible(model_.isResuming());
}

void Inspector::showFolder() { folderCard_->setFolder(model_.folder()); }

void Inspector::showStats() {
  stats_->setVisible(model_.report().has_value());
  if (!model_.report()) return;
  const ScanReport& report = *model_.report();
  mediaCount_->setCount(report.mediaCount);
  matchedCount_->setCount(report.matchedCount);
  unmatchedCount_->setCount(report.unmatchedCount);
  orphans_->setText(tr("%1 leftover JSON files not paired to media.").arg(report.orphanJSONCount));
  orphans_->setVisible(report.orphanJSONCount >= 1);
}

void Inspector::showOptions() {
  recursive_->setChecked(model_.recursive());
  for (std::size_t index = 0; index < optionToggles.size(); ++index) {
    options_.at(static_cast<int>(index))->setChecked(model_.options().*optionToggles.at(index).field);
  }
}

void Inspector::showBusy() {
  const bool busy = model_.isBusy();
  statusLine_->holdHeight(busy);
  // What comes is there before the other goes, to be handed the focus, which Qt would else give to whatever
  // is next: to an option, whose turn the next press of the space bar would be.
  if (busy) {
    running_->show();
    QWidget* const focus = window()->focusWidget();
    if (focus == write_ || focus == recursive_) {
      gaveWay_ = focus;
      stop_->setFocus();
    }
    write_->hide();
    recursive_->setEnabled(false);
  } else {
    recursive_->setEnabled(true);
    write_->setEnabled(model_.canApply());
    write_->show();
    QWidget* const before = std::exchange(gaveWay_, nullptr);
    if (window()->focusWidget() == stop_) (before == nullptr ? write_ : before)->setFocus();
    running_->hide();
  }
}

void Inspector::showProgress() {
  // In thousandths, since counts may be larger than a bar can take. An unknown total leaves it empty: a range
  // of nothing would make the bar run to and fro.
  constexpr int whole = 1000;
  const double total = static_cast<double>(model_.progressTotal());
  const double share = total < 1 ? 0 : static_cast<double>(model_.progressDone()) / total;
  progress_->setRange(0, whole);
  progress_->setValue(static_cast<int>(std::clamp(share, 0.0, 1.0) * whole));
}

void Inspector::showCurrentFile() {
  currentFile_->setFullText(model_.currentFile());
  currentFile_->setVisible(!model_.currentFile().isEmpty());
}

void Inspector::showStatus() { statusLine_->setText(model_.statusLine()); }

void Inspector::showError() {
  error_->setText(model_.lastError());
  error_->setVisible(!model_.lastError().isEmpty());
}

}  // namespace tollbrook
