#pragma once

#include <sys/cdefs.h>

// The few declarations of Core Foundation that the engine uses, as its reference documents them: the
// cross-compiler comes without frameworks.

__BEGIN_DECLS
typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFError* CFErrorRef;
typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef long CFIndex;
typedef unsigned long CFOptionFlags;
typedef CFOptionFlags CFURLBookmarkCreationOptions;
typedef CFOptionFlags CFURLBookmarkResolutionOptions;
enum : CFURLBookmarkCreationOptions { kCFURLBookmarkCreationMinimalBookmarkMask = 1UL << 9 };

void CFRelease(CFTypeRef object);

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
const UInt8* CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex length, Boolean isDirectory);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex capacity);
CFDataRef CFURLCreateBookmarkData(CFAllocatorRef allocator, CFURLRef url,
                                  CFURLBookmarkCreationOptions options, CFArrayRef propertiesToInclude,
                                  CFURLRef relativeTo, CFErrorRef* error);
CFURLRef CFURLCreateByResolvingBookmarkData(CFAllocatorRef allocator, CFDataRef bookmark,
                                            CFURLBookmarkResolutionOptions options, CFURLRef relativeTo,
                                            CFArrayRef propertiesToInclude, Boolean* isStale,
                                            CFErrorRef* error);
__END_DECLS
