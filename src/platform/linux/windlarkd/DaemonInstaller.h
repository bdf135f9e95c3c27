#pragma once

#include <iosfwd>

namespace windlark {

// `windlarkd --install`, run as root (the app starts it through pkexec): creates the
// windlark group from the installed sysusers entry, reloads systemd and enables and
// starts the socket. Each step is given 30 seconds. Returns the exit status.
[[nodiscard]] int installDaemon(std::ostream& out);

} // namespace windlark
