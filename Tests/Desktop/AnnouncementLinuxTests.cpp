#include <gmock/gmock.h>

#include <QAccessible>
#include <QProgressBar>
#include <QStringList>
#include <memory>
#include <vector>

#include "Desktop/Support/WindowTest.h"
#include "Tollbrook/Desktop/Announcer.h"

namespace {

struct Announcement {
  const QObject* object;
  int value;
};

// The values that screen readers were told of.
std::vector<Announcement> announcements;

// The notifications that they were told of.
std::vector<QObject*> notifications;

}  // namespace

// In place of Qt's own, which tells nobody on a desktop without screen readers. All of Qt calls this one.
void QAccessible::updateAccessibility(QAccessibleEvent* event) {
  if (event->type() == QAccessible::ObjectShow) {
    const bool isNotification = event->accessibleInterface()->role() == QAccessible::Notification;
    if (isNotification) notifications.push_back(event->object());
  }
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

TEST_F(AnnouncementTest, SpeaksByShowingANotification) {
  const std::unique_ptr<Announcer> system = systemAnnouncer();
  notifications.clear();
  for (const QString& text : {"3 dated"_s, "3 dated"_s, "Nothing changed."_s}) {
    system->announce(*window_, text);
  }
  // They ask for the name later.
  QStringList names;
  for (QObject* notification : notifications) {
    names.append(QAccessible::queryAccessibleInterface(notification)->text(QAccessible::Name));
  }
  EXPECT_THAT(names, testing::ElementsAre("3 dated"_s, "3 dated"_s, "Nothing changed."_s));
}

TEST_F(AnnouncementTest, SpeaksItsNotices) {
  window_->sayBusy("Holidays 2019");
  const QString busy = "Tollbrook is busy. Open Holidays 2019 again when it has finished."_s;
  EXPECT_THAT(announcer_.texts, testing::ElementsAre(busy));
  EXPECT_EQ(find("busyNotice")->accessibleName(), busy);
}

TEST_F(AnnouncementTest, SpeaksTheEndOfAScan) {
  addPairs(3);
  scanRoot();
  QCoreApplication::processEvents();
  EXPECT_THAT(announcer_.texts, testing::ElementsAre("3 of 3 files have sidecar metadata."_s));
}

TEST_F(AnnouncementTest, SpeaksTheResultOfARunAndTheScanAfterIt) {
  addPairs(3);
  scanRoot();
  QCoreApplication::processEvents();
  announcer_.texts.clear();
  write();
  QCoreApplication::processEvents();
  EXPECT_THAT(announcer_.texts, testing::ElementsAre("3 dated"_s, "3 of 3 files have sidecar metadata."_s));
}

TEST_F(AnnouncementTest, SpeaksOfWorkThatIsContinued) {
  addPairs(3);
  leaveUnfinishedJob(true, test::datesOnly());
  model_->attemptAutoResume();
  ASSERT_TRUE(waitUntil([this] { return model_->outcome().has_value(); }));
  QCoreApplication::processEvents();
  EXPECT_THAT(announcer_.texts,
              testing::ElementsAre("Continuing where you left off in %1…"_s.arg(model_->resumeFolderName()),
                                   "3 dated"_s));
}

TEST_F(AnnouncementTest, SpeaksErrors) {
  addPair("a.jpg");
  scanRoot();
  const auto other = JobJournal::open(root(), true, test::datesOnly());
  QCoreApplication::processEvents();
  announcer_.texts.clear();
  write();
  QCoreApplication::processEvents();
  EXPECT_THAT(announcer_.texts, testing::ElementsAre("Could not start a recoverable job.\n"
                                                     "Another Tollbrook is writing this folder."_s));
}

}  // namespace
}  // namespace tollbrook
