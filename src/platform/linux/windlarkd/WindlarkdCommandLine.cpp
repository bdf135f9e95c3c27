#include "platform/linux/windlarkd/DaemonInstaller.h"
#include "platform/linux/windlarkd/WindlarkdServer.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace windlark {
namespace {

constexpr std::string_view usage =
    "usage: windlarkd [--restore | --install] [--socket PATH] [--group NAME] [--no-logind]\n"
    "  --restore      put back the fan state a stopped daemon left behind, then exit\n"
    "  --install      create the windlark group, enable and start the socket (as root)\n"
    "  --socket PATH  listen here when not started by the socket unit (/run/windlark.sock)\n"
    "  --group NAME   members of this group may use the socket (windlark)\n"
    "  --no-logind    do not hold a sleep inhibitor\n"
    "environment: WINDLARKD_SYSFS_ROOT (/sys), WINDLARKD_RUNTIME_DIRECTORY (/run/windlarkd),\n"
    "             WINDLARKD_STATE_DIRECTORY (/var/lib/windlarkd)\n";

void fromEnvironment(const char* name, std::filesystem::path& target) {
    if (const char* value = std::getenv(name); value != nullptr && *value != '\0') {
        target = value;
    }
}

} // namespace

int windlarkdMain(int argc, char** argv, SysfsAccess& sysfs) {
    WindlarkdOptions options;
    fromEnvironment("WINDLARKD_SYSFS_ROOT", options.sysfsRoot);
    fromEnvironment("WINDLARKD_RUNTIME_DIRECTORY", options.runtimeDirectory);
    fromEnvironment("WINDLARKD_STATE_DIRECTORY", options.stateDirectory);
    bool isRestore = false;
    for (int index = 1; index < argc; ++index) {
        const std::string_view argument = argv[index];
        const bool hasValue = index + 1 < argc;
        if (argument == "--restore") {
            isRestore = true;
        } else if (argument == "--install") {
            return installDaemon(std::cout);
        } else if (argument == "--no-logind") {
            options.useLogind = false;
        } else if (argument == "--socket" && hasValue) {
            options.socketPath = argv[++index];
        } else if (argument == "--group" && hasValue) {
            options.group = argv[++index];
        } else if (argument == "--help") {
            std::cout << usage;
            return 0;
        } else {
            std::cerr << usage;
            return 2;
        }
    }
    return isRestore ? restoreLeftoverFans(options, sysfs) : runWindlarkd(options, sysfs);
}

} // namespace windlark
