#include "platform/macos/MacCodeSigningService.h"

#include "platform/macos/CFPropertyListConversion.h"

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <sys/stat.h>

namespace windlark {
namespace {

// kSecCSSigningInformation | kSecCSContentInformation: the identifier, the team and the
// Info.plist sealed into the signature.
constexpr SecCSFlags signingAndContentInformation = 18;

} // namespace

std::optional<StaticCodeSignature>
MacCodeSigningService::readStaticCode(const std::string& path) const {
    struct stat status {};
    const bool isDirectory = ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.c_str()),
        static_cast<CFIndex>(path.size()), isDirectory);
    if (url == nullptr) {
        return std::nullopt;
    }
    SecStaticCodeRef code = nullptr;
    const OSStatus created = SecStaticCodeCreateWithPath(url, kSecCSDefaultFlags, &code);
    CFRelease(url);
    if (created != errSecSuccess || code == nullptr) {
        if (code != nullptr) {
            CFRelease(code);
        }
        return std::nullopt;
    }

    StaticCodeSignature signature;
    signature.validityStatus = SecStaticCodeCheckValidity(code, kSecCSDefaultFlags, nullptr);

    CFDictionaryRef information = nullptr;
    const OSStatus copied =
        SecCodeCopySigningInformation(code, signingAndContentInformation, &information);
    if (copied == errSecSuccess && information != nullptr) {
        // Values of an unexpected type count as absent.
        signature.identifier = CFPropertyListConversion::string(
            CFDictionaryGetValue(information, kSecCodeInfoIdentifier));
        signature.teamIdentifier = CFPropertyListConversion::string(
            CFDictionaryGetValue(information, kSecCodeInfoTeamIdentifier));
        signature.infoPlist = CFPropertyListConversion::lenientDictionary(
            CFDictionaryGetValue(information, kSecCodeInfoPList));
    }
    if (information != nullptr) {
        CFRelease(information);
    }
    CFRelease(code);
    return signature;
}

bool MacCodeSigningService::compilesRequirement(const std::string& requirement) const {
    CFStringRef text = CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(requirement.data()),
        static_cast<CFIndex>(requirement.size()), kCFStringEncodingUTF8, false);
    if (text == nullptr) {
        return false;
    }
    SecRequirementRef compiled = nullptr;
    const OSStatus status = SecRequirementCreateWithString(text, kSecCSDefaultFlags, &compiled);
    CFRelease(text);
    const bool compiles = status == errSecSuccess && compiled != nullptr;
    if (compiled != nullptr) {
        CFRelease(compiled);
    }
    return compiles;
}

} // namespace windlark
