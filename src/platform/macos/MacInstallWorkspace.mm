#include "platform/macos/MacInstallWorkspace.h"

#include "platform/macos/MacNSString.h"

#import <AppKit/AppKit.h>

namespace windlark {
namespace {

using MacNS::nsString;

// The guard compares the modal response with its own constant.
static_assert(InstallAlert::kFirstButtonResponse == NSAlertFirstButtonReturn);

} // namespace

int MacInstallWorkspace::currentProcessIdentifier() const {
    return NSProcessInfo.processInfo.processIdentifier;
}

std::vector<RunningApplication>
MacInstallWorkspace::runningApplications(std::string_view bundleIdentifier) const {
    std::vector<RunningApplication> applications;
    @autoreleasepool {
        NSString* identifier = nsString(bundleIdentifier);
        if (identifier == nil) {
            return applications;
        }
        NSArray<NSRunningApplication*>* running =
            [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier];
        for (NSRunningApplication* application in running) {
            RunningApplication entry;
            entry.processIdentifier = application.processIdentifier;
            if (const char* path = application.bundleURL.path.UTF8String) {
                entry.bundlePath = std::string(path);
            }
            applications.push_back(std::move(entry));
        }
    }
    return applications;
}

void MacInstallWorkspace::activate(int processIdentifier) {
    @autoreleasepool {
        NSRunningApplication* application =
            [NSRunningApplication runningApplicationWithProcessIdentifier:processIdentifier];
        [application activateWithOptions:NSApplicationActivateAllWindows];
    }
}

void MacInstallWorkspace::bringThisApplicationForward() {
    // The application normally runs without a Dock icon; an accessory's alert could open
    // behind other windows and never be seen.
    [NSApp setActivationPolicy:NSApplicationActivationPolicyRegular];
    [NSApp unhide:nil];
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    [NSApp activateIgnoringOtherApps:YES];
#pragma clang diagnostic pop
}

int MacInstallWorkspace::runModalAlert(const InstallAlert& alert) {
    @autoreleasepool {
        NSAlert* panel = [[NSAlert alloc] init];
        panel.alertStyle = alert.style == InstallAlert::Style::warning ? NSAlertStyleWarning
                                                                       : NSAlertStyleInformational;
        // Our own texts are valid UTF-8; a broken one shows as blank rather than failing.
        panel.messageText = nsString(alert.messageText) ?: @"";
        panel.informativeText = nsString(alert.informativeText) ?: @"";
        for (const std::string& title : alert.buttons) {
            [panel addButtonWithTitle:nsString(title) ?: @""];
        }
        panel.window.level = NSModalPanelWindowLevel;
        [panel.window orderFrontRegardless];
        return static_cast<int>([panel runModal]);
    }
}

std::optional<std::string>
MacInstallWorkspace::launchDetached(const std::string& tool,
                                    const std::vector<std::string>& arguments) {
    return processes_.launchDetached(tool, arguments);
}

void MacInstallWorkspace::openFileViewer(const std::string& directory) {
    @autoreleasepool {
        NSString* path = MacNS::nsPath(directory);
        if (path == nil) {
            return;
        }
        [NSWorkspace.sharedWorkspace selectFile:nil inFileViewerRootedAtPath:path];
    }
}

void MacInstallWorkspace::terminate() {
    [NSApp terminate:nil];
}

} // namespace windlark
