#include "platform/macos/IOKitSMCBus.h"

#include "platform/macos/MacCFString.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach.h>
#include <type_traits>

namespace windlark {

static_assert(std::is_same_v<io_object_t, SMCBus::ServiceHandle>);
static_assert(std::is_same_v<io_connect_t, SMCBus::ConnectionHandle>);
static_assert(static_cast<std::int32_t>(kIOReturnSuccess) == KernelResult::success);
static_assert(static_cast<std::int32_t>(kIOReturnBadArgument) == KernelResult::badArgument);
static_assert(static_cast<std::int32_t>(kIOReturnNotPrivileged) == KernelResult::notPrivileged);
static_assert(static_cast<std::int32_t>(kIOReturnUnsupported) == KernelResult::unsupported);
static_assert(static_cast<std::int32_t>(kIOReturnNotPermitted) == KernelResult::notPermitted);
static_assert(static_cast<std::int32_t>(kIOReturnNotFound) == KernelResult::notFound);

namespace {

// The default main port. IOKitLib documents kIOMainPortDefault as a named synonym for
// MACH_PORT_NULL; passing the null port works on every macOS release and avoids both the
// macOS 12 availability of the new name and the deprecation of the old one.
constexpr mach_port_t mainPort() {
    return MACH_PORT_NULL;
}

} // namespace

std::optional<SMCBus::ServiceHandle> IOKitSMCBus::matchingService(std::string_view name) {
    const std::string className(name);
    // IOServiceGetMatchingService consumes the dictionary, so it is not released here.
    CFMutableDictionaryRef matching = IOServiceMatching(className.c_str());
    if (matching == nullptr) {
        return std::nullopt;
    }
    const io_service_t service = IOServiceGetMatchingService(mainPort(), matching);
    if (service == IO_OBJECT_NULL) {
        return std::nullopt;
    }
    return service;
}

SMCBus::MatchResult IOKitSMCBus::matchingServices(std::string_view name) {
    const std::string className(name);
    CFMutableDictionaryRef matching = IOServiceMatching(className.c_str());
    if (matching == nullptr) {
        return {static_cast<std::int32_t>(kIOReturnNoMemory), {}};
    }
    io_iterator_t iterator = IO_OBJECT_NULL;
    const kern_return_t result = IOServiceGetMatchingServices(mainPort(), matching, &iterator);
    if (result != KERN_SUCCESS) {
        return {static_cast<std::int32_t>(result), {}};
    }
    MatchResult match;
    while (const io_service_t service = IOIteratorNext(iterator)) {
        match.services.push_back(service);
    }
    IOObjectRelease(iterator);
    return match;
}

std::optional<std::string> IOKitSMCBus::serviceClassName(ServiceHandle service) {
    const MacCF::Owned<CFTypeRef> property(
        IORegistryEntryCreateCFProperty(service, CFSTR("IOClass"), kCFAllocatorDefault, 0));
    if (!property || CFGetTypeID(property.get()) != CFStringGetTypeID()) {
        return std::nullopt;
    }
    return MacCF::utf8(static_cast<CFStringRef>(property.get()));
}

void IOKitSMCBus::releaseService(ServiceHandle service) {
    if (service != IO_OBJECT_NULL) {
        IOObjectRelease(service);
    }
}

SMCBus::OpenResult IOKitSMCBus::open(ServiceHandle service, std::uint32_t type) {
    io_connect_t connection = IO_OBJECT_NULL;
    const kern_return_t result = IOServiceOpen(service, mach_task_self(), type, &connection);
    if (result != KERN_SUCCESS) {
        return {static_cast<std::int32_t>(result), 0};
    }
    return {KernelResult::success, connection};
}

void IOKitSMCBus::closeConnection(ConnectionHandle connection) {
    if (connection != IO_OBJECT_NULL) {
        IOServiceClose(connection);
    }
}

std::int32_t IOKitSMCBus::callStructMethod(ConnectionHandle connection, std::uint32_t selector,
                                           const SMCKeyData& input, SMCKeyData& output) {
    std::size_t outputSize = sizeof(SMCKeyData);
    const kern_return_t result = IOConnectCallStructMethod(
        connection, selector, &input, sizeof(SMCKeyData), &output, &outputSize);
    return static_cast<std::int32_t>(result);
}

} // namespace windlark
