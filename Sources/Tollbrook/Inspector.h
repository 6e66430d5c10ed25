#pragma once

#include <QList>
#include <QWidget>

class QProgressBar;
class QVBoxLayout;

namespace tollbrook {

class Actions;
class AppModel;
class ElidedLabel;
class FolderCard;
class SelectableText;
class SettlingButton;
class StatChip;
class TextLabel;
class Toggle;
class WrappingText;

/// The left column: which folder, what was found, what will be written, the safety promise and the actions.
/// What does not fit scrolls; the actions stay at its foot.
class Inspector : public QWidget {
  Q_OBJECT

 public:
  static constexpr int leastWidth = 268;
  static constexpr int idealWidth = 300;
  static constexpr int mostWidth = 360;

  Inspector(AppModel& model, Actions& actions, QWidget* parent = nullptr);

  /// A large font may need more than the least width.
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  // The sections, from top to bottom.
  QWidget* makeHeader();
  QWidget* makeResumeBanner();
  QWidget* makeFolderCard();
  QWidget* makeStats();
  QWidget* makeOptions();
  QWidget* makeSafety();
  QWidget* makeActions(Actions& actions);
  QWidget* makeError();

  QWidget* makeSection(const QString& name, QVBoxLayout*& column) const;
  QWidget* makeScrollingColumn();
  QWidget* makeFoot(Actions& actions);
  void observeModel();

  void showResumeBanner();
  void showFolder();
  void showStats();
  void showOptions();
  void showBusy();
  void showProgress();
  void showCurrentFile();
  void showStatus();
  void showError();

  AppModel& model_;
  QWidget* resumeBanner_ = nullptr;
  WrappingText* resumeText_ = nullptr;
  FolderCard* folderCard_ = nullptr;
  Toggle* recursive_ = nullptr;
  QWidget* stats_ = nullptr;
  StatChip* mediaCount_ = nullptr;
  StatChip* matchedCount_ = nullptr;
  StatChip* unmatchedCount_ = nullptr;
  TextLabel* orphans_ = nullptr;
  QList<Toggle*> options_;
  SettlingButton* write_ = nullptr;
  SettlingButton* stop_ = nullptr;
  QWidget* running_ = nullptr;
  QWidget* gaveWay_ = nullptr;  ///< what had the focus before the stop button
  QProgressBar* progress_ = nullptr;
  ElidedLabel* currentFile_ = nullptr;
  SelectableText* statusLine_ = nullptr;
  SelectableText* error_ = nullptr;
};

}  // namespace tollbrook
