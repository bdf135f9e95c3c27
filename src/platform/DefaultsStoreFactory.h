#pragma once

#include "curve/DefaultsStore.h"

#include <memory>

namespace windlark {

// The current user's defaults database: the application's preferences domain on macOS,
// the per-user defaults file under the XDG configuration folder elsewhere.
[[nodiscard]] std::shared_ptr<DefaultsStore> makeStandardDefaultsStore();

} // namespace windlark
