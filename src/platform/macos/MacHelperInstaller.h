#pragma once

#include "helper/HelperInstaller.h"

namespace windlark {

// Authorization Services for the bless right, then SMJobRemove / SMJobBless in the system
// launchd domain.
class MacHelperInstaller final : public HelperInstaller {
public:
    [[nodiscard]] HelperAuthorizationAttempt authorize() override;
};

} // namespace windlark
