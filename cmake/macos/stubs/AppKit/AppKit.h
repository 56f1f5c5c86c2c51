#pragma once
// The declarations that the launcher uses, for checking its Objective-C++ where AppKit is not at
// hand. They follow Apple's documentation of Foundation ("NSString", "NSURL", "NSError") and AppKit
// ("NSWorkspace", "NSRunningApplication"), with the system version that each is there from. They
// prove that the launcher keeps to this page, not that this page is right: on a Mac it is compiled
// against the real headers.

#include <objc/NSObject.h>

#pragma clang assume_nonnull begin

__attribute__((availability(macos, introduced = 10.0)))
@interface NSString : NSObject
// None if the bytes are no UTF-8.
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
@end

__attribute__((availability(macos, introduced = 10.0)))
@interface NSURL : NSObject
@end

__attribute__((availability(macos, introduced = 10.0)))
@interface NSError : NSObject
@end

__attribute__((availability(macos, introduced = 10.6)))
@interface NSRunningApplication : NSObject
@end

__attribute__((availability(macos, introduced = 10.15)))
@interface NSWorkspaceOpenConfiguration : NSObject
+ (instancetype)configuration;
@end

typedef void (^NSWorkspaceOpenCompletionHandler)(
    NSRunningApplication* _Nullable application, NSError* _Nullable error);

__attribute__((availability(macos, introduced = 10.0)))
@interface NSWorkspace : NSObject
@property (class, readonly, strong) NSWorkspace* sharedWorkspace;

- (nullable NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier
    __attribute__((availability(macos, introduced = 10.6)));

- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(nullable NSWorkspaceOpenCompletionHandler)completionHandler
    __attribute__((availability(macos, introduced = 10.15)));
@end

#pragma clang assume_nonnull end
