#include "platform/macos/MacInstallFileOperations.h"

#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>

namespace windlark {
namespace {

using MacNS::nsString;

std::optional<std::string> failure(BOOL isDone, NSError* error) {
    if (isDone) {
        return std::nullopt;
    }
    return MacNS::utf8String(error.localizedDescription, "The file operation failed.");
}

} // namespace

std::optional<bool> MacInstallFileOperations::isOnReadOnlyVolume(const std::string& path) const {
    @autoreleasepool {
        NSURL* url = [NSURL fileURLWithPath:nsString(path)];
        id value = nil;
        NSError* error = nil;
        if (![url getResourceValue:&value forKey:NSURLVolumeIsReadOnlyKey error:&error] ||
            ![value isKindOfClass:[NSNumber class]]) {
            return std::nullopt;
        }
        return static_cast<bool>([static_cast<NSNumber*>(value) boolValue]);
    }
}

bool MacInstallFileOperations::exists(const std::string& path) const {
    @autoreleasepool {
        return [NSFileManager.defaultManager fileExistsAtPath:nsString(path)];
    }
}

std::string MacInstallFileOperations::temporaryDirectory() const {
    @autoreleasepool {
        const char* path = NSTemporaryDirectory().fileSystemRepresentation;
        return path != nullptr ? std::string(path) : std::string("/tmp");
    }
}

std::optional<std::string> MacInstallFileOperations::remove(const std::string& path) {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL isDone = [NSFileManager.defaultManager removeItemAtPath:nsString(path)
                                                                     error:&error];
        return failure(isDone, error);
    }
}

std::optional<std::string> MacInstallFileOperations::copy(const std::string& from,
                                                          const std::string& to) {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL isDone = [NSFileManager.defaultManager copyItemAtPath:nsString(from)
                                                                  toPath:nsString(to)
                                                                   error:&error];
        return failure(isDone, error);
    }
}

std::optional<std::string> MacInstallFileOperations::move(const std::string& from,
                                                          const std::string& to) {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL isDone = [NSFileManager.defaultManager moveItemAtPath:nsString(from)
                                                                  toPath:nsString(to)
                                                                   error:&error];
        return failure(isDone, error);
    }
}

std::optional<std::string> MacInstallFileOperations::moveToTrash(const std::string& path) {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL isDone =
            [NSFileManager.defaultManager trashItemAtURL:[NSURL fileURLWithPath:nsString(path)]
                                        resultingItemURL:nil
                                                   error:&error];
        return failure(isDone, error);
    }
}

} // namespace windlark
