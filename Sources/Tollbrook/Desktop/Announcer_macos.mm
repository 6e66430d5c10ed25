#import <AppKit/AppKit.h>

#include <QString>
#include <QWidget>

#include "Tollbrook/Desktop/Announcer.h"

namespace tollbrook {
namespace {

class VoiceOver : public Announcer {
 public:
  void announce(QWidget&, const QString& text) override {
    if (NSApp.mainWindow == nil) return;
    NSAccessibilityPostNotificationWithUserInfo(
        NSApp.mainWindow, NSAccessibilityAnnouncementRequestedNotification, @{
          NSAccessibilityAnnouncementKey : text.toNSString(),
          NSAccessibilityPriorityKey : @(NSAccessibilityPriorityHigh)
        });
  }
};

}  // namespace

std::unique_ptr<Announcer> systemAnnouncer() { return std::make_unique<VoiceOver>(); }

}  // namespace tollbrook
