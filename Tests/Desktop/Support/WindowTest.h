#pragma once

#include <QApplication>
#include <QWidget>
#include <chrono>
#include <memory>
#include <vector>

#include "Desktop/Support/AppTest.h"
#include "Tollbrook/Actions.h"
#include "Tollbrook/MainWindow.h"

class QLabel;
class QMimeData;
class QTableView;

namespace tollbrook::test {

/// The main window on a model with the real engine, driven as a user drives it.
class WindowTest : public AppTest {
 protected:
  WindowTest() { open(); }
  void TearDown() override;

  /// Opens the window, instead of one that is open.
  void open();

  /// The widget of this name; the test ends when there is none.
  template <typename Widget = QWidget>
  Widget* find(const char* name) const {
    auto* found = window_->findChild<Widget*>(QString::fromLatin1(name));
    if (found == nullptr) throw std::runtime_error(std::string("there is no ") + name);
    return found;
  }

  /// Whether the widget can be seen, if its part of the window is scrolled to.
  bool shows(const char* name) const { return find(name)->isVisible(); }
  /// The texts of the labels that can be seen inside this widget, in reading order.
  QStringList labels(const char* name) const;

  void click(const char* name) const;

  void dragOver(const QMimeData& data) const;
  void dragAway() const;
  /// Whether the drop was taken.
  bool drop(const QMimeData& data) const;

  /// What the table shows in a row.
  QStringList row(int index) const;
  QTableView* table() const;

  FakeFileManager fileManager_;
  FakeAnnouncer announcer_;
  std::unique_ptr<MainWindow> window_;
};

/// The system's palette in dark appearance, while this lives.
class DarkAppearance {
 public:
  DarkAppearance();
  ~DarkAppearance();
  DarkAppearance(const DarkAppearance&) = delete;
  DarkAppearance& operator=(const DarkAppearance&) = delete;
};

/// The system's font, so many times as large, while this lives.
class LargerFont {
 public:
  explicit LargerFont(double ratio);
  ~LargerFont();
  LargerFont(const LargerFont&) = delete;
  LargerFont& operator=(const LargerFont&) = delete;

 private:
  const QFont before_;
};

/// Another value of one of the system's intervals, while this lives.
template <int (*get)(), void (*set)(int)>
class SystemInterval {
 public:
  explicit SystemInterval(std::chrono::milliseconds interval) : before_(get()) {
    set(static_cast<int>(interval.count()));
  }
  ~SystemInterval() { set(before_); }
  SystemInterval(const SystemInterval&) = delete;
  SystemInterval& operator=(const SystemInterval&) = delete;

 private:
  const int before_;
};

/// How long a second click may take to make a double click.
using DoubleClickInterval =
    SystemInterval<&QApplication::doubleClickInterval, &QApplication::setDoubleClickInterval>;
/// How long after a key another one still belongs to the same word.
using KeyboardInputInterval =
    SystemInterval<&QApplication::keyboardInputInterval, &QApplication::setKeyboardInputInterval>;

/// What a file manager hands over when these are dragged.
std::unique_ptr<QMimeData> dragged(const std::vector<std::filesystem::path>& files);

}  // namespace tollbrook::test
