// The simulated helper is described by the "helper" section of a machine file, which is
// read once with the rest of the machine. Whatever the section holds, it must become a
// configuration or be refused with a reason, never both, and a configured helper must
// answer a status read.

#include "hardware/SimulatedMachine.h"
#include "helper/SimulatedHelper.h"
#include "support/Clock.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

class FixedClock final : public windlark::Clock {
public:
    [[nodiscard]] windlark::Timestamp now() const override {
        return windlark::Timestamp{} + std::chrono::hours(24 * 365 * 56);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    const SimulatedMachine::ParseResult parsed =
        SimulatedMachine::parse(json, std::make_shared<FixedClock>());
    if (!parsed.machine) {
        return 0;
    }
    const SimulatedHelperParseResult result = parseSimulatedHelper(parsed.machine->otherSections());
    if (result.configuration && !result.error.empty()) {
        std::abort();
    }
    if (result.configuration && !result.configuration->hangs) {
        const SimulatedHelper helper(*result.configuration, parsed.machine);
        if (helper.readStatus().empty()) {
            std::abort();
        }
    }
    return 0;
}
