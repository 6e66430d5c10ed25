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

}  // namespace

// In place of Qt's own, which tells nobody on a desktop without screen readers. All of Qt calls this one.
void QAccessible::updateAccessibility(QAccessibleEvent* event) {
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

}  // namespace
}  // namespace tollbrook
