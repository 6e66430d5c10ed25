#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QTableView>
#include <QTextEdit>
#include <QTranslator>
#include <set>

#include "Desktop/Support/WindowTest.h"
#include "Support/Fixtures.h"

namespace tollbrook {
namespace {

// Every text in a language of its own: that of the sources, in brackets.
class Bracketing : public QTranslator {
 public:
  Bracketing() { QApplication::installTranslator(this); }
  bool isEmpty() const override { return false; }
  QString translate(const char*, const char* text, const char*, int) const override {
    return '[' + QString::fromUtf8(text) + ']';
  }
};

class TranslationTest : private Bracketing, public test::WindowTest {
 protected:
  // What the window says now.
  QStringList texts() const {
    QStringList texts{window_->windowTitle()};
    for (const QWidget* widget : window_->findChildren<QWidget*>()) {
      texts.append(widget->accessibleName());
      if (const auto* label = qobject_cast<const QLabel*>(widget)) texts.append(label->text());
      if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) texts.append(button->text());
      if (const auto* text = qobject_cast<const QTextEdit*>(widget)) texts.append(text->toPlainText());
      if (const auto* menu = qobject_cast<const QMenu*>(widget)) texts.append(menu->title());
    }
    for (const QAction* action : window_->findChildren<QAction*>()) texts.append(action->text());
    return texts;
  }

  // Those of them that are in no brackets, names and numbers apart.
  std::set<QString> untranslated() const {
    const QStringList names{"IMG_504.HEIC"_s, "IMG_504.HEIC.supplemental-metadata.json"_s, "Holidays 2019"_s};
    std::set<QString> found;
    for (const QString& text : texts()) {
      bool isNumber = false;
      text.toInt(&isNumber);
      if (!text.isEmpty() && !text.startsWith('[') && !isNumber && !names.contains(text)) {
        found.insert(text);
      }
    }
    return found;
  }
};

TEST_F(TranslationTest, CoversTheWelcome) { EXPECT_THAT(untranslated(), testing::IsEmpty()); }

TEST_F(TranslationTest, CoversAScannedFolder) {
  addPair("a.jpg");
  addLonePhoto("b.jpg");
  test::writeFile(root() / "left.jpg.json", test::sidecarJson());
  scanRoot();
  EXPECT_THAT(untranslated(), testing::IsEmpty());
  EXPECT_EQ(model_->statusLine(), "[1 of 2 files have sidecar metadata.]"_s);
  EXPECT_EQ(row(0).back(), "[Ready]"_s);
  EXPECT_EQ(row(1).mid(2), QStringList({"[missing]"_s, "[No sidecar]"_s}));
  for (int column = 0; column < table()->model()->columnCount(); ++column) {
    EXPECT_TRUE(table()->model()->headerData(column, Qt::Horizontal).toString().startsWith('['));
  }
}

TEST_F(TranslationTest, CoversWhatWasWritten) {
  addPair("a.jpg");
  scanRoot();
  statusLines_.clear();
  write();
  EXPECT_THAT(statusLines_, testing::Contains("[1 dated]"_s));
  for (const QString& line : statusLines_) EXPECT_TRUE(line.startsWith('[')) << line.toStdString();
  EXPECT_THAT(untranslated(), testing::IsEmpty());
}

TEST_F(TranslationTest, CoversWhyNothingWasWritten) {
  addPair("a.jpg");
  scanRoot();
  const auto other = JobJournal::open(root(), true, test::datesOnly());
  write();
  EXPECT_EQ(model_->lastError(), "[Another Tollbrook is writing this folder.]"_s);
  EXPECT_THAT(untranslated(), testing::IsEmpty());
}

}  // namespace
}  // namespace tollbrook
