#include "Desktop/Support/WindowTest.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMimeData>
#include <QStyle>
#include <QTableView>
#include <QTest>
#include <algorithm>

#include "Tollbrook/Paths.h"

namespace tollbrook::test {

void WindowTest::open() {
  window_ = std::make_unique<MainWindow>(*model_, fileManager_, announcer_);
  window_->show();
  if (!QTest::qWaitForWindowActive(window_.get())) throw std::runtime_error("the window does not open");
}

QStringList WindowTest::labels(const char* name) const {
  std::vector<QLabel*> seen;
  for (QLabel* label : find(name)->findChildren<QLabel*>()) {
    if (label->isVisible()) seen.push_back(label);
  }
  const auto place = [](const QLabel* label) {
    const QPoint corner = label->mapToGlobal(QPoint());
    return std::pair(corner.y(), corner.x());
  };
  std::stable_sort(seen.begin(), seen.end(), [&](auto* a, auto* b) { return place(a) < place(b); });
  QStringList texts;
  for (const QLabel* label : seen) texts.append(label->text());
  return texts;
}

void WindowTest::click(const char* name) const { QTest::mouseClick(find(name), Qt::LeftButton); }

// Qt keeps the widget that a drag has entered until the drag ends.
void WindowTest::TearDown() {
  if (window_) dragAway();
  AppTest::TearDown();
}

void WindowTest::dragOver(const QMimeData& data) const {
  QDragEnterEvent event(QPoint(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(find("contentView"), &event);
}

void WindowTest::dragAway() const {
  QDragLeaveEvent event;
  QApplication::sendEvent(find("contentView"), &event);
}

bool WindowTest::drop(const QMimeData& data) const {
  // Only what a drag has entered is dropped upon.
  dragOver(data);
  QDropEvent event(QPointF(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  event.ignore();
  QApplication::sendEvent(find("contentView"), &event);
  return event.isAccepted();
}

QStringList WindowTest::row(int index) const {
  const QAbstractItemModel& rows = *table()->model();
  QStringList texts;
  for (int column = 0; column < rows.columnCount(); ++column) {
    texts.append(rows.index(index, column).data().toString());
  }
  return texts;
}

QTableView* WindowTest::table() const { return find<QTableView>("pairs"); }

DarkAppearance::DarkAppearance() {
  const QColor ground(0x1E, 0x1E, 0x1E);
  const QColor text(0xE6, 0xE6, 0xE6);
  QPalette palette;
  palette.setColor(QPalette::Base, ground);
  palette.setColor(QPalette::Window, QColor(0x2B, 0x2B, 0x2B));
  palette.setColor(QPalette::Button, QColor(0x3A, 0x3A, 0x3A));
  for (const QPalette::ColorRole role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
    palette.setColor(role, text);
  }
  // As it is done to what the system says; what a program sets is left as it is.
  QApplication::style()->polish(palette);
  QApplication::setPalette(palette);
}

DarkAppearance::~DarkAppearance() { QApplication::setPalette(QPalette()); }

LargerFont::LargerFont(double ratio) : before_(QApplication::font()) {
  QFont font = before_;
  font.setPointSizeF(before_.pointSizeF() * ratio);
  QApplication::setFont(font);
}

LargerFont::~LargerFont() { QApplication::setFont(before_); }

std::unique_ptr<QMimeData> dragged(const std::vector<std::filesystem::path>& files) {
  QList<QUrl> urls;
  for (const std::filesystem::path& file : files) urls.append(Paths::toUrl(file));
  auto data = std::make_unique<QMimeData>();
  data->setUrls(urls);
  return data;
}

}  // namespace tollbrook::test
