#import <AppKit/AppKit.h>

#include <QString>
#include <QWidget>

#include "Tollbrook/Desktop/Announcer.h"

namespace tollbrook {
namespace {

class VoiceOver : public Announcer {
 public:
  void announce(QWidget& window, const QString& text) override {
    NSWindow* shown = reinterpret_cast<NSView*>(window.winId()).window;
    if (shown == nil) return;
    NSAccessibilityPostNotificationWithUserInfo(
        shown, NSAccessibilityAnnouncementRequestedNotification, @{
          NSAccessibilityAnnouncementKey : text.toNSString(),
          NSAccessibilityPriorityKey : @(NSAccessibilityPriorityHigh)
        });
  }
};

}  // namespace

std::unique_ptr<Announcer> systemAnnouncer() { return std::make_unique<VoiceOver>(); }

}  // namespace tollbrook
