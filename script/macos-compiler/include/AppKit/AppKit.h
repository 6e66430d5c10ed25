#pragma once

#include <Foundation/Foundation.h>

// The few declarations of AppKit that the application uses, as its reference documents them: the
// cross-compiler comes without frameworks.

NS_ASSUME_NONNULL_BEGIN

typedef NSInteger NSModalResponse;
static const NSModalResponse NSModalResponseOK = 1;

@interface NSWindow : NSObject
@property(getter=isVisible, readonly) BOOL visible;
- (void)makeKeyAndOrderFront:(nullable id)sender;
@end

@interface NSView : NSObject
@property(nullable, readonly, assign) NSWindow* window;
@end

@interface NSApplication : NSObject
@property(nullable, readonly, weak) NSWindow* mainWindow;
@end
extern NSApplication* _Null_unspecified NSApp;

typedef NSString* NSAccessibilityNotificationName;
typedef NSString* NSAccessibilityNotificationUserInfoKey;
enum NSAccessibilityPriorityLevel : NSInteger {
  NSAccessibilityPriorityLow = 10,
  NSAccessibilityPriorityMedium = 50,
  NSAccessibilityPriorityHigh = 90
};
extern NSAccessibilityNotificationName const NSAccessibilityAnnouncementRequestedNotification;
extern NSAccessibilityNotificationUserInfoKey const NSAccessibilityAnnouncementKey;
extern NSAccessibilityNotificationUserInfoKey const NSAccessibilityPriorityKey;
extern "C" void NSAccessibilityPostNotificationWithUserInfo(
    id element, NSAccessibilityNotificationName notification,
    NSDictionary<NSAccessibilityNotificationUserInfoKey, id>* _Nullable userInfo);

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL*>*)fileURLs;
@end

@interface NSSavePanel : NSWindow
@property(nullable, readonly, copy) NSURL* URL;
@property(null_resettable, copy) NSString* prompt;
@property(null_resettable, copy) NSString* message;
- (void)beginSheetModalForWindow:(NSWindow*)window
               completionHandler:(void (^)(NSModalResponse result))handler;
- (void)beginWithCompletionHandler:(void (^)(NSModalResponse result))handler;
- (void)cancel:(nullable id)sender;
@end

@interface NSOpenPanel : NSSavePanel
+ (NSOpenPanel*)openPanel;
@property BOOL canChooseDirectories;
@property BOOL canChooseFiles;
@property BOOL allowsMultipleSelection;
@end

NS_ASSUME_NONNULL_END
