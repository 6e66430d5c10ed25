#import <Foundation/Foundation.h>

#include "Tollbrook/Desktop/KeepAwake.h"

namespace tollbrook {
namespace {

class ProcessActivity : public KeepAwake::Activity {
 public:
  explicit ProcessActivity(NSString* reason)
      : token_([[[NSProcessInfo processInfo] beginActivityWithOptions:NSActivityUserInitiated
                                                               reason:reason] retain]) {}
  ~ProcessActivity() override {
    [[NSProcessInfo processInfo] endActivity:token_];
    [token_ release];
  }

 private:
  id<NSObject> token_;
};

class ProcessInfo : public KeepAwake {
 public:
  std::unique_ptr<Activity> begin(const QString& reason) override {
    return std::make_unique<ProcessActivity>(reason.toNSString());
  }
};

}  // namespace

std::unique_ptr<KeepAwake> systemKeepAwake() { return std::make_unique<ProcessInfo>(); }

}  // namespace tollbrook
