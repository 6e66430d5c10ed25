#pragma once

#include <objc/NSObject.h>
#include <stdint.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

// The few declarations of Foundation that the application uses, as its reference documents them: the
// cross-compiler comes without frameworks.

NS_ASSUME_NONNULL_BEGIN

typedef uint64_t NSActivityOptions;
static const NSActivityOptions NSActivityUserInitiated = 0x00FFFFFFULL | (1ULL << 20);

@interface NSString : NSObject
@end

@interface NSNumber : NSObject
+ (NSNumber*)numberWithInteger:(NSInteger)value;
+ (NSNumber*)numberWithLong:(long)value;
@end

@interface NSURL : NSObject
@end

@interface NSArray<ObjectType> : NSObject
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nonnull])objects count:(NSUInteger)count;
@end

@interface NSDictionary<KeyType, ObjectType> : NSObject
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nonnull])objects
                              forKeys:(const KeyType _Nonnull[_Nonnull])keys
                                count:(NSUInteger)count;
@end

@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options reason:(NSString*)reason;
- (void)endActivity:(id<NSObject>)activity;
@end

NS_ASSUME_NONNULL_END
