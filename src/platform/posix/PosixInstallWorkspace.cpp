#include "platform/posix/PosixInstallWorkspace.h"

#include "platform/posix/SpawnArguments.h"

#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <unistd.h>

extern char** environ;

namespace windlark {

int PosixInstallWorkspace::currentProcessIdentifier() const {
    return static_cast<int>(::getpid());
}

std::vector<RunningApplication>
PosixInstallWorkspace::runningApplications(std::string_view /*bundleIdentifier*/) const {
    return {};
}

void PosixInstallWorkspace::activate(int /*processIdentifier*/) {}

int PosixInstallWorkspace::runModalAlert(const InstallAlert& /*alert*/) {
    return InstallAlert::kFirstButtonResponse + 1;
}

std::optional<std::string>
PosixInstallWorkspace::launchDetached(const std::string& tool,
                                      const std::vector<std::string>& arguments) {
    SpawnArguments argv(tool, arguments);
    pid_t child = 0;
    // The child is not waited for: this process quits right after starting it.
    const int result = ::posix_spawn(&child, tool.c_str(), nullptr, nullptr, argv.argv(), environ);
    if (result != 0) {
        return std::string(std::strerror(result)) + ": " + tool;
    }
    return std::nullopt;
}

void PosixInstallWorkspace::openFileViewer(const std::string& /*directory*/) {}

void PosixInstallWorkspace::terminate() {
    std::exit(EXIT_SUCCESS);
}

} // namespace windlark
