#pragma once

#include "helper/BundledPrivilegedHelperClient.h"

namespace windlark {

// Linux has no application bundle, code signatures, launchd or XPC: the helper is looked
// for beside the executable only, every signature reads as unavailable, no requirement
// compiles, the daemon is not found, and neither a connection nor an install is possible.
[[nodiscard]] PrivilegedHelperServices makeLinuxHelperServices();

} // namespace windlark
