#include "platform/macos/MacHelperXPCConnector.h"

#include "contract/WindlarkPrivilegedHelperXPC.h"
#include "platform/macos/CFPropertyListConversion.h"
#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

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

// The reply block runs on the connection's queue. It only converts the dictionary and
// hands it on; the handler copes with arriving after its caller stopped waiting. A reply
// that cannot be read arrives as an empty dictionary, which every caller treats as a
// refusal.
void (^replyBlock(HelperReplyHandler handler))(NSDictionary*) {
    auto shared = std::make_shared<HelperReplyHandler>(std::move(handler));
    return [^(NSDictionary* reply) {
      std::optional<PropertyDictionary> converted;
      if (reply != nil) {
          converted = CFPropertyListConversion::lenientDictionary((__bridge CFTypeRef)reply);
      }
      (*shared)(converted.value_or(PropertyDictionary{}));
    } copy];
}

class MacHelperXPCSession final : public HelperSession {
public:
    MacHelperXPCSession(NSXPCConnection* connection, id<WindlarkPrivilegedHelperXPCProtocol> proxy)
        : connection_(connection)
        , proxy_(proxy) {}
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
            [proxy_ readStatusWithReply:replyBlock(std::move(reply))];
        }
    }

    void resetToSystem(HelperReplyHandler reply) override {
        @autoreleasepool {
            [proxy_ resetToSystemWithReply:replyBlock(std::move(reply))];
        }
    }

    void holdManualTargetLease(const PropertyDictionary& request,
                               HelperReplyHandler reply) override {
        @autoreleasepool {
            CFDictionaryRef cfRequest = CFPropertyListConversion::createDictionary(request);
            if (cfRequest == nullptr) {
                return; // nothing sent: the caller's time-out reports it
            }
            NSDictionary* nsRequest = CFBridgingRelease(cfRequest);
            [proxy_ holdManualTargetLease:nsRequest reply:replyBlock(std::move(reply))];
        }
    }

private:
    NSXPCConnection* connection_;
    id<WindlarkPrivilegedHelperXPCProtocol> proxy_;
};

} // namespace

HelperSessionOpening MacHelperXPCConnector::openSession() {
    @autoreleasepool {
        NSString* serviceName = MacNS::nsString(WindlarkPrivilegedHelperXPC::serviceName);
        NSXPCConnection* connection =
            [[NSXPCConnection alloc] initWithMachServiceName:serviceName
                                                     options:NSXPCConnectionPrivileged];
        if (connection == nil) {
            return {nullptr, std::nullopt};
        }
        connection.remoteObjectInterface = contractInterface();
        [connection resume];
        // A broken connection never calls the reply block; the caller's time-out then
        // reports the failure, so the error itself needs no handling here.
        id proxy = [connection remoteObjectProxyWithErrorHandler:^(NSError* error) {
          (void)error;
        }];
        if (proxy == nil ||
            ![proxy conformsToProtocol:@protocol(WindlarkPrivilegedHelperXPCProtocol)]) {
            [connection invalidate];
            return {nullptr, std::string("Could not create typed XPC proxy.")};
        }
        return {std::make_unique<MacHelperXPCSession>(
                    connection, (id<WindlarkPrivilegedHelperXPCProtocol>)proxy),
                std::nullopt};
    }
}

} // namespace windlark
