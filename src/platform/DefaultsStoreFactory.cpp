#include "platform/DefaultsStoreFactory.h"

#if defined(__APPLE__)
#include "platform/macos/CFPreferencesDefaultsStore.h"
#else
#include "platform/posix/FileDefaultsStore.h"

#include <cstddef>
#include <cstdlib>
#include <pwd.h>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>
#include <vector>
#endif

namespace windlark {

#if !defined(__APPLE__)
namespace {

std::string_view environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

// HOME is the rule; the password database covers sessions started without it.
std::string homeDirectory() {
    const std::string_view home = environmentValue("HOME");
    if (!home.empty()) {
        return std::string(home);
    }
    long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384);
    passwd entry{};
    passwd* result = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 &&
        result != nullptr && result->pw_dir != nullptr) {
        return result->pw_dir;
    }
    return {};
}

} // namespace
#endif

std::shared_ptr<DefaultsStore> makeStandardDefaultsStore() {
#if defined(__APPLE__)
    return std::make_shared<CFPreferencesDefaultsStore>();
#else
    return std::make_shared<FileDefaultsStore>(
        FileDefaultsStore::standardPath(environmentValue("XDG_CONFIG_HOME"), homeDirectory()));
#endif
}

} // namespace windlark
