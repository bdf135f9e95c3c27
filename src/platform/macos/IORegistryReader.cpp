#include "platform/macos/IORegistryReader.h"

#include "platform/macos/MacCFString.h"

#include <IOKit/IOKitLib.h>
#include <mach/port.h>

namespace windlark {

namespace {

// The default main port. IOKitLib documents kIOMainPortDefault as a named synonym for
// MACH_PORT_NULL; passing the null port works on every macOS release and avoids both the
// macOS 12 availability of the new name and the deprecation of the old one.
constexpr mach_port_t mainPort() {
    return MACH_PORT_NULL;
}

io_registry_entry_t openEntry(RegistryEntry entry) {
    switch (entry) {
    case RegistryEntry::deviceTreeRoot:
        return IORegistryEntryFromPath(mainPort(), "IODeviceTree:/");
    case RegistryEntry::platformExpert: {
        CFMutableDictionaryRef matching = IOServiceMatching("IOPlatformExpertDevice");
        if (matching == nullptr) {
            return IO_OBJECT_NULL;
        }
        // Consumes `matching`.
        return IOServiceGetMatchingService(mainPort(), matching);
    }
    }
    return IO_OBJECT_NULL;
}

} // namespace

std::optional<RegistryProperty> IORegistryReader::property(RegistryEntry entry,
                                                           const std::string& key) {
    const io_registry_entry_t object = openEntry(entry);
    if (object == IO_OBJECT_NULL) {
        return std::nullopt;
    }
    const MacCF::Owned<CFStringRef> keyText(
        CFStringCreateWithCString(kCFAllocatorDefault, key.c_str(), kCFStringEncodingUTF8));
    CFTypeRef raw =
        keyText ? IORegistryEntryCreateCFProperty(object, keyText.get(), kCFAllocatorDefault, 0)
                : nullptr;
    IOObjectRelease(object);
    const MacCF::Owned<CFTypeRef> value(raw);
    if (!value) {
        return std::nullopt;
    }
    if (CFGetTypeID(value.get()) == CFStringGetTypeID()) {
        if (auto text = MacCF::utf8(static_cast<CFStringRef>(value.get()))) {
            return RegistryProperty(std::move(*text));
        }
        return RegistryProperty(std::monostate{});
    }
    if (CFGetTypeID(value.get()) == CFDataGetTypeID()) {
        const auto data = static_cast<CFDataRef>(value.get());
        const CFIndex length = CFDataGetLength(data);
        const UInt8* bytes = CFDataGetBytePtr(data);
        if (length <= 0 || bytes == nullptr) {
            return RegistryProperty(std::vector<std::uint8_t>{});
        }
        return RegistryProperty(
            std::vector<std::uint8_t>(bytes, bytes + static_cast<std::size_t>(length)));
    }
    return RegistryProperty(std::monostate{});
}

} // namespace windlark
