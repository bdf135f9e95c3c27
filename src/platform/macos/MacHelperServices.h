#pragma once

#include "helper/BundledPrivilegedHelperClient.h"

namespace windlark {

// The helper client's seams on macOS: Foundation and SMAppService for the bundle and the
// daemon status, the Security framework for signatures, XPC for the connection and
// ServiceManagement for the install.
[[nodiscard]] PrivilegedHelperServices makeMacHelperServices();

} // namespace windlark
