#include "platform/macos/MacInstallFileOperations.h"

#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>
#include <cerrno>
#include <filesystem>
#include <sys/xattr.h>
#include <system_error>

namespace windlark {
namespace {

using MacNS::nsPath;

constexpr const char* kUnusablePath = "The path cannot be used: it is empty or not valid UTF-8.";

// Gatekeeper's mark on downloaded files. A copy keeps it from its original, and an
// application still marked after the move is translocated again at its next launch, where
// it would ask to be moved once more, forever.
constexpr const char* kQuarantineAttribute = "com.apple.quarantine";

std::optional<std::string> failure(BOOL isDone, NSError* error) {
    if (isDone) {
        return std::nullopt;
    }
    return MacNS::utf8String(error.localizedDescription, "The file operation failed.");
}

// Clears the mark of one item itself (a symbolic link, not what it points to). An item
// without the mark, or on a volume without extended attributes, has nothing to clear.
std::optional<std::string> clearQuarantine(const std::filesystem::path& item) {
    if (::removexattr(item.c_str(), kQuarantineAttribute, XATTR_NOFOLLOW) == 0) {
        return std::nullopt;
    }
    const int error = errno;
    if (error == ENOATTR || error == ENOTSUP) {
        return std::nullopt;
    }
    return "Could not clear the quarantine mark of " + item.string() + ": " +
           std::system_category().message(error);
}

// Clears the mark of `root` and, for a folder (an application bundle), of everything in
// it. Symbolic links inside the bundle are not followed out of it.
std::optional<std::string> clearQuarantineRecursively(const std::filesystem::path& root) {
    if (auto error = clearQuarantine(root)) {
        return error;
    }
    std::error_code code;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(root, code))) {
        return std::nullopt;
    }
    std::filesystem::recursive_directory_iterator entry(root, code);
    for (; !code && entry != std::filesystem::recursive_directory_iterator();
         entry.increment(code)) {
        if (auto error = clearQuarantine(entry->path())) {
            return error;
        }
    }
    if (code) {
        return "Could not clear the quarantine mark in " + root.string() + ": " + code.message();
    }
    return std::nullopt;
}

} // namespace

std::optional<bool> MacInstallFileOperations::isOnReadOnlyVolume(const std::string& path) const {
    @autoreleasepool {
        NSString* nsFilePath = nsPath(path);
        if (nsFilePath == nil) {
            return std::nullopt;
        }
        NSURL* url = [NSURL fileURLWithPath:nsFilePath];
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
        NSString* nsFilePath = nsPath(path);
        return nsFilePath != nil && [NSFileManager.defaultManager fileExistsAtPath:nsFilePath];
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
        NSString* nsFilePath = nsPath(path);
        if (nsFilePath == nil) {
            return std::string(kUnusablePath);
        }
        NSError* error = nil;
        const BOOL isDone = [NSFileManager.defaultManager removeItemAtPath:nsFilePath error:&error];
        return failure(isDone, error);
    }
}

std::optional<std::string> MacInstallFileOperations::copy(const std::string& from,
                                                          const std::string& to) {
    @autoreleasepool {
        NSString* source = nsPath(from);
        NSString* destination = nsPath(to);
        if (source == nil || destination == nil) {
            return std::string(kUnusablePath);
        }
        NSError* error = nil;
        const BOOL isDone = [NSFileManager.defaultManager copyItemAtPath:source
                                                                  toPath:destination
                                                                   error:&error];
        if (auto copyFailure = failure(isDone, error)) {
            return copyFailure;
        }
        // The copy is what gets installed: it must not carry the download's mark. The
        // caller removes a copy that failed here, as any other failed copy.
        return clearQuarantineRecursively(to);
    }
}

std::optional<std::string> MacInstallFileOperations::move(const std::string& from,
                                                          const std::string& to) {
    @autoreleasepool {
        NSString* source = nsPath(from);
        NSString* destination = nsPath(to);
        if (source == nil || destination == nil) {
            return std::string(kUnusablePath);
        }
        NSError* error = nil;
        const BOOL isDone = [NSFileManager.defaultManager moveItemAtPath:source
                                                                  toPath:destination
                                                                   error:&error];
        return failure(isDone, error);
    }
}

std::optional<std::string> MacInstallFileOperations::moveToTrash(const std::string& path) {
    @autoreleasepool {
        NSString* nsFilePath = nsPath(path);
        if (nsFilePath == nil) {
            return std::string(kUnusablePath);
        }
        NSError* error = nil;
        const BOOL isDone =
            [NSFileManager.defaultManager trashItemAtURL:[NSURL fileURLWithPath:nsFilePath]
                                        resultingItemURL:nil
                                                   error:&error];
        return failure(isDone, error);
    }
}

} // namespace windlark
