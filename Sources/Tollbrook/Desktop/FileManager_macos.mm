#import <AppKit/AppKit.h>

#include "Tollbrook/Desktop/FileManager.h"
#include "Tollbrook/Paths.h"

namespace tollbrook {
namespace {

class Finder : public FileManager {
 public:
  void reveal(const std::filesystem::path& file) override {
    NSURL* url = Paths::toUrl(file).toNSURL();
    if (url != nil) [[NSWorkspace sharedWorkspace] activateFileViewerSelectingURLs:@[ url ]];
  }
};

}  // namespace

std::unique_ptr<FileManager> systemFileManager() { return std::make_unique<Finder>(); }

}  // namespace tollbrook
