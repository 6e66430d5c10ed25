#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "Tollbrook/RowFilter.h"
#include "TollbrookCore/Models.h"

class QHBoxLayout;
class QStackedWidget;

namespace tollbrook {

class Actions;
class AppModel;
class FileManager;
class PairTable;
class PairTableModel;
class SegmentedPicker;
class TextLabel;

/// The right column: one row per photo or video of the last scan, a filter above them, or what to do when
/// there are none.
class DetailList : public QWidget {
  Q_OBJECT

 public:
  DetailList(AppModel& model, Actions& actions, FileManager& fileManager, QWidget* parent = nullptr);

  /// The identity of the selected pair. It outlives a filter that does not show the pair.
  const std::optional<std::string>& selection() const { return selection_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  QHBoxLayout* makeFilterBar();
  QWidget* makeTable();

  void sizeFilter();
  void showContent();
  void showCount();
  void takeSelection();
  void showSelection();
  void showContextMenu(const QPoint& position);
  const MediaPair* selectedPair() const;

  AppModel& model_;
  FileManager& fileManager_;
  PairTableModel* rows_;
  SegmentedPicker* filter_;
  TextLabel* count_;
  QStackedWidget* content_;
  PairTable* table_;
  std::optional<std::string> selection_;
  bool resetting_ = false;
  RowFilter shownFilter_ = RowFilter::all;
};

}  // namespace tollbrook
