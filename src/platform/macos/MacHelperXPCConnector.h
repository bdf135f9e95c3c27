#pragma once

#include "helper/HelperConnection.h"

namespace windlark {

// Opens an NSXPCConnection to the helper's privileged Mach service, one per request.
class MacHelperXPCConnector final : public HelperConnector {
public:
    [[nodiscard]] HelperSessionOpening openSession() override;
};

} // namespace windlark
