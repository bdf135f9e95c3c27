// The AppleSMC user client writes an 80-byte record back for every call, and a firmware
// or driver we have never seen may put anything in it: any type, any size, any bytes,
// any result codes. This bus answers every call with the next 80 bytes of the input (and
// a kernel result taken from it too), and the client must turn whatever comes into
// capabilities and debug lines without reading or writing out of bounds.

#include "hardware/SMCBus.h"
#include "hardware/SMCKeyData.h"
#include "hardware/SMCReadOnlyClient.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

namespace {

using windlark::SMCBus;
using windlark::SMCKeyData;

class ArbitraryRepliesBus final : public SMCBus {
public:
    ArbitraryRepliesBus(const std::uint8_t* data, std::size_t size)
        : data_(data)
        , size_(size) {}

    std::optional<ServiceHandle> matchingService(std::string_view) override { return 1; }
    MatchResult matchingServices(std::string_view) override { return {0, {1}}; }
    std::optional<std::string> serviceClassName(ServiceHandle) override {
        return "AppleSMCKeysEndpoint";
    }
    void releaseService(ServiceHandle) override {}
    OpenResult open(ServiceHandle, std::uint32_t) override { return {0, 7}; }
    void closeConnection(ConnectionHandle) override {}

    std::int32_t callStructMethod(ConnectionHandle, std::uint32_t, const SMCKeyData&,
                                  SMCKeyData& output) override {
        // Once the input is used up, every call fails the way an unplugged service does.
        if (offset_ >= size_) {
            return windlark::KernelResult::notFound;
        }
        // One byte picks the kernel result: mostly success, so the record gets decoded.
        const std::uint8_t selector = data_[offset_++];
        std::uint8_t record[sizeof(SMCKeyData)] = {};
        const std::size_t count = std::min(sizeof record, size_ - offset_);
        std::memcpy(record, data_ + offset_, count);
        offset_ += count;
        std::memcpy(&output, record, sizeof record);
        switch (selector % 8) {
        case 6:
            return windlark::KernelResult::notPrivileged;
        case 7:
            return windlark::KernelResult::badArgument;
        default:
            return windlark::KernelResult::success;
        }
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t offset_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    auto bus = std::make_shared<ArbitraryRepliesBus>(data, size);
    std::unique_ptr<SMCReadOnlyClient> client = SMCReadOnlyClient::open(bus);
    if (!client) {
        return 0;
    }
    (void)client->readCapabilities();
    (void)client->readFanCount();
    (void)client->readRPM("F0Ac");
    (void)client->readValue("F0Mx");
    (void)client->debugFanKeyReport();
    (void)client->debugPotentialFanControlKeyReport();
    (void)SMCReadOnlyClient::debugConnectionMatrix(*bus);
    return 0;
}
