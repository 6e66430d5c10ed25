#include "Tollbrook/ScrollingColumn.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QStyle>
#include <QVBoxLayout>

namespace tollbrook {
namespace {

/// What scrolls: as high as it is at its width. The least height of its layout is that of a narrower column.
class Sections : public QWidget {
 public:
  QSize minimumSizeHint() const override { return {QWidget::minimumSizeHint().width(), 0}; }
};

}  // namespace

ScrollingColumn::ScrollingColumn(const QMargins& around, QWidget* parent)
    : QScrollArea(parent), column_(new QVBoxLayout) {
  auto* content = new Sections;
  content->setObjectName(QStringLiteral("sections"));
  const int bar = QApplication::style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  auto* row = new QHBoxLayout(content);
  row->setContentsMargins(around - QMargins(bar, 0, bar, 0));
  row->setSpacing(0);
  // Across from the bar, on whichever side a row begins.
  row->addSpacing(bar);
  row->addLayout(column_, 1);

  setFrameShape(QFrame::NoFrame);
  setWidgetResizable(true);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  // Where all is seen there is nothing of it.
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  setFocusPolicy(Qt::NoFocus);
  setWidget(content);
  // What is behind the column shows through.
  viewport()->setAutoFillBackground(false);
  content->setAutoFillBackground(false);
}

}  // namespace tollbrook
