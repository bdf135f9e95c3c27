#include "platform/macos/IOHIDTemperatureSensorServices.h"

#include "platform/macos/MacCFString.h"

#include <CoreFoundation/CoreFoundation.h>
#include <cstdint>

// The event-system client calls live in IOKit but are not all in the SDK's public headers;
// these are their C signatures, parameter for parameter: on arm64 a declaration whose
// parameters differ from the definition's passes arguments in the wrong registers. The
// public hidsystem headers are deliberately not included so that the declarations cannot
// disagree.
extern "C" {
typedef struct __IOHIDEventSystemClient* IOHIDEventSystemClientRef;
typedef struct __IOHIDServiceClient* IOHIDServiceClientRef;
typedef struct __IOHIDEvent* IOHIDEventRef;

IOHIDEventSystemClientRef IOHIDEventSystemClientCreate(CFAllocatorRef allocator);
void IOHIDEventSystemClientSetMatching(IOHIDEventSystemClientRef client, CFDictionaryRef matching);
CFArrayRef IOHIDEventSystemClientCopyServices(IOHIDEventSystemClientRef client);
CFTypeRef IOHIDServiceClientCopyProperty(IOHIDServiceClientRef service, CFStringRef key);
// (service, event type, an event to match or null, IOOptionBits options)
IOHIDEventRef IOHIDServiceClientCopyEvent(IOHIDServiceClientRef service, int64_t type,
                                          IOHIDEventRef matching, uint32_t options);
double IOHIDEventGetFloatValue(IOHIDEventRef event, int32_t field);
}

namespace windlark {

namespace {

constexpr int kVendorUsagePage = 0xFF00;
constexpr int kTemperatureSensorUsage = 5;
constexpr int64_t kTemperatureEventType = 15;
constexpr int32_t kTemperatureLevelField = static_cast<int32_t>(kTemperatureEventType << 16);

MacCF::Owned<CFDictionaryRef> temperatureSensorMatching() {
    const int page = kVendorUsagePage;
    const int usage = kTemperatureSensorUsage;
    const MacCF::Owned<CFNumberRef> pageNumber(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &page));
    const MacCF::Owned<CFNumberRef> usageNumber(
        CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &usage));
    if (!pageNumber || !usageNumber) {
        return MacCF::Owned<CFDictionaryRef>();
    }
    const void* keys[] = {CFSTR("PrimaryUsagePage"), CFSTR("PrimaryUsage")};
    const void* values[] = {pageNumber.get(), usageNumber.get()};
    return MacCF::Owned<CFDictionaryRef>(CFDictionaryCreate(kCFAllocatorDefault, keys, values, 2,
                                                            &kCFTypeDictionaryKeyCallBacks,
                                                            &kCFTypeDictionaryValueCallBacks));
}

std::optional<std::string> productName(IOHIDServiceClientRef service) {
    const MacCF::Owned<CFTypeRef> property(
        IOHIDServiceClientCopyProperty(service, CFSTR("Product")));
    if (!property || CFGetTypeID(property.get()) != CFStringGetTypeID()) {
        return std::nullopt;
    }
    return MacCF::utf8(static_cast<CFStringRef>(property.get()));
}

std::optional<double> eventTemperature(IOHIDServiceClientRef service) {
    const MacCF::Owned<IOHIDEventRef> event(
        IOHIDServiceClientCopyEvent(service, kTemperatureEventType, nullptr, 0));
    if (!event) {
        return std::nullopt;
    }
    return IOHIDEventGetFloatValue(event.get(), kTemperatureLevelField);
}

} // namespace

std::vector<std::optional<TemperatureSensorService>>
IOHIDTemperatureSensorServices::copyServices() {
    std::vector<std::optional<TemperatureSensorService>> services;
    const MacCF::Owned<IOHIDEventSystemClientRef> client(
        IOHIDEventSystemClientCreate(kCFAllocatorDefault));
    if (!client) {
        return services;
    }
    const MacCF::Owned<CFDictionaryRef> matching = temperatureSensorMatching();
    if (!matching) {
        return services;
    }
    IOHIDEventSystemClientSetMatching(client.get(), matching.get());
    const MacCF::Owned<CFArrayRef> list(IOHIDEventSystemClientCopyServices(client.get()));
    if (!list) {
        return services;
    }
    const CFIndex count = CFArrayGetCount(list.get());
    services.reserve(static_cast<std::size_t>(count));
    for (CFIndex i = 0; i < count; ++i) {
        // The array owns its elements; they are only borrowed here.
        auto* service = static_cast<IOHIDServiceClientRef>(
            const_cast<void*>(CFArrayGetValueAtIndex(list.get(), i)));
        if (service == nullptr) {
            services.emplace_back(std::nullopt);
            continue;
        }
        services.emplace_back(TemperatureSensorService{
            .product = productName(service), .eventTemperature = eventTemperature(service)});
    }
    return services;
}

} // namespace windlark
