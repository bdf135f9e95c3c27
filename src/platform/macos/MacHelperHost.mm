#include "platform/macos/MacHelperHost.h"

#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

namespace windlark {
namespace {

using MacNS::nsString;

std::optional<std::string> utf8(NSString* text) {
    return MacNS::optionalUtf8String(text);
}

} // namespace

std::optional<std::string> MacHelperHost::mainBundlePath() const {
    @autoreleasepool {
        return utf8(NSBundle.mainBundle.bundleURL.path);
    }
}

std::optional<std::string> MacHelperHost::mainExecutablePath() const {
    @autoreleasepool {
        return utf8(NSBundle.mainBundle.executableURL.path);
    }
}

bool MacHelperHost::isExecutableFile(const std::string& path) const {
    @autoreleasepool {
        NSString* nsPath = MacNS::nsPath(path);
        if (nsPath == nil) {
            return false;
        }
        BOOL isDirectory = NO;
        NSFileManager* files = NSFileManager.defaultManager;
        return [files fileExistsAtPath:nsPath isDirectory:&isDirectory] && !isDirectory &&
               [files isExecutableFileAtPath:nsPath];
    }
}

bool MacHelperHost::fileExists(const std::string& path) const {
    @autoreleasepool {
        NSString* nsPath = MacNS::nsPath(path);
        return nsPath != nil && [NSFileManager.defaultManager fileExistsAtPath:nsPath];
    }
}

std::int64_t MacHelperHost::daemonServiceStatus(const std::string& plistName) const {
    @autoreleasepool {
        if (@available(macOS 13.0, *)) {
            NSString* name = nsString(plistName);
            if (name == nil) {
                return -1;
            }
            SMAppService* service = [SMAppService daemonServiceWithPlistName:name];
            return static_cast<std::int64_t>(service.status);
        }
        return -1; // no SMAppService: the status is unknown
    }
}

} // namespace windlark
