#include "platform/macos/MacHelperXPCConnector.h"

#include "contract/WindlarkPrivilegedHelperXPC.h"
#include "platform/macos/CFPropertyListConversion.h"
#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// The helper exports exactly this protocol under this name; both sides must agree on the
// selectors and on dictionaries as the only payload.
@protocol WindlarkPrivilegedHelperXPCProtocol
- (void)readStatusWithReply:(void (^)(NSDictionary* status))reply;
- (void)resetToSystemWithReply:(void (^)(NSDictionary* status))reply;
- (void)holdManualTargetLease:(NSDictionary*)request reply:(void (^)(NSDictionary* response))reply;
@end

namespace windlark {

// The privileged option: the Mach service lives in the system domain, run by launchd as root.
static_assert(NSXPCConnectionPrivileged == 0x1000);

namespace {

// Only property-list classes may cross the connection, in either direction.
NSXPCInterface* contractInterface() {
    NSXPCInterface* interface =
        [NSXPCInterface interfaceWithProtocol:@protocol(WindlarkPrivilegedHelperXPCProtocol)];
    NSSet* plistClasses = [NSSet
        setWithObjects:NSDictionary.class, NSArray.class, NSString.class, NSNumber.class, nil];
    [interface setClasses:plistClasses
              forSelector:@selector(readStatusWithReply:)
            argumentIndex:0
                  ofReply:YES];
    [interface setClasses:plistClasses
              forSelector:@selector(resetToSystemWithReply:)
            argumentIndex:0
                  ofReply:YES];
    [interface setClasses:plistClasses
              forSelector:@selector(holdManualTargetLease:reply:)
            argumentIndex:0
                  ofReply:NO];
    [interface setClasses:plistClasses
              forSelector:@selector(holdManualTargetLease:reply:)
            argumentIndex:0
                  ofReply:YES];
    return interface;
}

// One request's handler, shared by its reply block and its proxy's error handler. XPC
// calls only one of the two, but the handler must never run twice, so the first to come
// delivers and the other is dropped.
class PendingReply {
public:
    explicit PendingReply(HelperReplyHandler handler)
        : handler_(std::move(handler)) {}

    void deliver(HelperReply reply) {
        if (!isDelivered_.exchange(true)) {
            handler_(std::move(reply));
        }
    }

private:
    HelperReplyHandler handler_;
    std::atomic<bool> isDelivered_{false};
};

// The reply block runs on the connection's queue. It only converts the dictionary and
// hands it on; the handler copes with arriving after its caller stopped waiting. A reply
// that cannot be read arrives as an empty dictionary, which every caller treats as a
// refusal.
void (^replyBlock(std::shared_ptr<PendingReply> pending))(NSDictionary*) {
    return [^(NSDictionary* reply) {
      std::optional<PropertyDictionary> converted;
      if (reply != nil) {
          converted = CFPropertyListConversion::lenientDictionary((__bridge CFTypeRef)reply);
      }
      pending->deliver(converted.value_or(PropertyDictionary{}));
    } copy];
}

// A refused or invalidated connection calls the proxy's error handler instead of the reply
// block; handing its description on ends the caller's wait at once instead of at the
// time-out.
id<WindlarkPrivilegedHelperXPCProtocol> proxyFor(NSXPCConnection* connection,
                                                 std::shared_ptr<PendingReply> pending) {
    id proxy = [connection remoteObjectProxyWithErrorHandler:^(NSError* error) {
      pending->deliver(HelperReply::failure(
          MacNS::utf8String(error.localizedDescription, "The helper connection failed.")));
    }];
    if (proxy == nil ||
        ![proxy conformsToProtocol:@protocol(WindlarkPrivilegedHelperXPCProtocol)]) {
        return nil;
    }
    return (id<WindlarkPrivilegedHelperXPCProtocol>)proxy;
}

class MacHelperXPCSession final : public HelperSession {
public:
    explicit MacHelperXPCSession(NSXPCConnection* connection)
        : connection_(connection) {}
    MacHelperXPCSession(const MacHelperXPCSession&) = delete;
    MacHelperXPCSession& operator=(const MacHelperXPCSession&) = delete;

    // Every request closes its connection when done.
    ~MacHelperXPCSession() override {
        @autoreleasepool {
            [connection_ invalidate];
        }
    }

    void readStatus(HelperReplyHandler reply) override {
        @autoreleasepool {
            auto pending = std::make_shared<PendingReply>(std::move(reply));
            id<WindlarkPrivilegedHelperXPCProtocol> proxy = proxyOrFailure(pending);
            if (proxy != nil) {
                [proxy readStatusWithReply:replyBlock(pending)];
            }
        }
    }

    void resetToSystem(HelperReplyHandler reply) override {
        @autoreleasepool {
            auto pending = std::make_shared<PendingReply>(std::move(reply));
            id<WindlarkPrivilegedHelperXPCProtocol> proxy = proxyOrFailure(pending);
            if (proxy != nil) {
                [proxy resetToSystemWithReply:replyBlock(pending)];
            }
        }
    }

    void holdManualTargetLease(const PropertyDictionary& request,
                               HelperReplyHandler reply) override {
        @autoreleasepool {
            auto pending = std::make_shared<PendingReply>(std::move(reply));
            CFDictionaryRef cfRequest = CFPropertyListConversion::createDictionary(request);
            if (cfRequest == nullptr) {
                pending->deliver(HelperReply::failure("Could not encode the lease request."));
                return;
            }
            // ARC owns the dictionary from here.
            NSDictionary* nsRequest = CFBridgingRelease(cfRequest);
            id<WindlarkPrivilegedHelperXPCProtocol> proxy = proxyOrFailure(pending);
            if (proxy != nil) {
                [proxy holdManualTargetLease:nsRequest reply:replyBlock(pending)];
            }
        }
    }

private:
    id<WindlarkPrivilegedHelperXPCProtocol>
    proxyOrFailure(const std::shared_ptr<PendingReply>& pending) {
        id<WindlarkPrivilegedHelperXPCProtocol> proxy = proxyFor(connection_, pending);
        if (proxy == nil) {
            pending->deliver(HelperReply::failure("Could not create typed XPC proxy."));
        }
        return proxy;
    }

    NSXPCConnection* connection_;
};

} // namespace

HelperSessionOpening MacHelperXPCConnector::openSession() {
    @autoreleasepool {
        NSString* serviceName = MacNS::nsString(WindlarkPrivilegedHelperXPC::serviceName);
        if (serviceName == nil) {
            return {nullptr, std::string("Could not create XPC connection.")};
        }
        NSXPCConnection* connection =
            [[NSXPCConnection alloc] initWithMachServiceName:serviceName
                                                     options:NSXPCConnectionPrivileged];
        if (connection == nil) {
            return {nullptr, std::nullopt};
        }
        connection.remoteObjectInterface = contractInterface();
        [connection resume];
        // Each request makes its own proxy, whose error handler ends that request's wait;
        // this one only proves that a typed proxy can be made at all.
        auto unused = std::make_shared<PendingReply>([](HelperReply) {});
        if (proxyFor(connection, unused) == nil) {
            [connection invalidate];
            return {nullptr, std::string("Could not create typed XPC proxy.")};
        }
        return {std::make_unique<MacHelperXPCSession>(connection), std::nullopt};
    }
}

} // namespace windlark
