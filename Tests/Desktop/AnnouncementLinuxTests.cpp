#include <gmock/gmock.h>

#include <QAccessible>
#include <QProgressBar>

#include "Desktop/Support/WindowTest.h"

namespace {

struct Announcement {
  const QObject* object;
  int value;
};

// The values that screen readers were told of.
std::vector<Announcement> announcements;

// What they were told to speak at once.
std::vector<const QObject*> alerts;

}  // namespace

// In place of Qt's own, which tells nobody on a desktop without screen readers. All of Qt calls this one.
void QAccessible::updateAccessibility(QAccessibleEvent* event) {
  if (event->type() == QAccessible::Alert) alerts.push_back(event->object());
  if (event->type() != QAccessible::ValueChanged) return;
  const auto* change = static_cast<QAccessibleValueChangeEvent*>(event);
  announcements.push_back({change->object(), change->value().toInt()});
}

namespace tollbrook {
namespace {

using AnnouncementTest = test::WindowTest;

TEST_F(AnnouncementTest, TellsScreenReadersOfTheProgress) {
  addPairs(50);
  scanRoot();
  const auto* bar = find<QProgressBar>("progress");
  int full = 0;
  QObject::connect(bar, &QProgressBar::valueChanged, bar, [&] { full = bar->maximum(); });
  announcements.clear();
  click("writeButton");
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  EXPECT_GT(full, 0);
  EXPECT_THAT(announcements, testing::Contains(testing::AllOf(testing::Field(&Announcement::object, bar),
                                                              testing::Field(&Announcement::value, full))));
}

TEST_F(AnnouncementTest, LetsScreenReadersSpeakItsNoticesAtOnce) {
  alerts.clear();
  window_->sayBusy("Holidays 2019");
  EXPECT_THAT(alerts, testing::ElementsAre(find("busyNotice")));
  EXPECT_EQ(find("busyNotice")->accessibleName(),
            "Tollbrook is busy. Open Holidays 2019 again when it has finished."_s);
}

TEST_F(AnnouncementTest, LetsScreenReadersSpeakTheEndOfEveryWork) {
  addPairs(3);
  alerts.clear();
  scanRoot();
  QCoreApplication::processEvents();
  EXPECT_THAT(alerts, testing::ElementsAre(find("statusLine")));
}

TEST_F(AnnouncementTest, LetsScreenReadersSpeakThatWorkIsContinued) {
  addPairs(3);
  leaveUnfinishedJob(true, test::datesOnly());
  alerts.clear();
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  QCoreApplication::processEvents();
  EXPECT_THAT(alerts, testing::ElementsAre(find("resumeText"), find("statusLine")));
}

TEST_F(AnnouncementTest, LetsScreenReadersSpeakErrors) {
  addPair("a.jpg");
  scanRoot();
  const auto other = JobJournal::open(root(), true, test::datesOnly());
  QCoreApplication::processEvents();
  alerts.clear();
  write();
  QCoreApplication::processEvents();
  EXPECT_THAT(alerts, testing::ElementsAre(find("lastError"), find("statusLine")));
}

}  // namespace
}  // namespace tollbrook
