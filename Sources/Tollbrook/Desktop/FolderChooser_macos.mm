#import <AppKit/AppKit.h>

#include <QUrl>

#include "Tollbrook/Desktop/FolderChooser.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

class OpenPanel : public FolderChooser {
 public:
  ~OpenPanel() override {
    [panel_ cancel:nil];
    [panel_ release];
  }

  void choose(const QString& prompt, const QString& message, Chosen chosen) override {
    if (panel_ == nil) panel_ = [[NSOpenPanel openPanel] retain];
    if ([panel_ isVisible]) {
      [panel_ makeKeyAndOrderFront:nil];
      return;
    }
    [panel_ setCanChooseDirectories:YES];
    [panel_ setCanChooseFiles:NO];
    [panel_ setAllowsMultipleSelection:NO];
    [panel_ setPrompt:prompt.toNSString()];
    [panel_ setMessage:message.toNSString()];
    NSOpenPanel* panel = panel_;
    void (^answer)(NSModalResponse) = ^(NSModalResponse response) {
      if (response == NSModalResponseOK) chosen(Paths::fromUrl(QUrl::fromNSURL([panel URL])));
    };
    if (NSWindow* window = [NSApp mainWindow]) {
      [panel_ beginSheetModalForWindow:window completionHandler:answer];
    } else {
      [panel_ beginWithCompletionHandler:answer];
    }
  }

 private:
  NSOpenPanel* panel_ = nil;
};

}  // namespace

std::unique_ptr<FolderChooser> systemFolderChooser() { return std::make_unique<OpenPanel>(); }

}  // namespace tollbrook
