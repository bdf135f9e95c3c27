// The hardware-monitor tests run the real libsensors over a mocked /sys. That needs
// umockdev's preload library in the process from its start, so the program starts itself
// again with it when it was run without.

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    constexpr const char* preloadLibrary = "libumockdev-preload.so.0";
    const char* preload = std::getenv("LD_PRELOAD");
    if (preload == nullptr || std::strstr(preload, "libumockdev-preload") == nullptr) {
        std::string value = preloadLibrary;
        if (preload != nullptr && *preload != '\0') {
            value += std::string(":") + preload;
        }
        ::setenv("LD_PRELOAD", value.c_str(), 1);
        // Under AddressSanitizer the preload comes first, which it would otherwise refuse.
        ::setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 0);
        // libsensors itself leaks a few bytes on a configuration it cannot parse.
        ::setenv("LSAN_OPTIONS",
                 "suppressions=" WINDLARK_SOURCE_DIR "/tests/platform/hwmon/libsensors.supp", 0);
        ::execv("/proc/self/exe", argv);
        std::perror("cannot restart with umockdev's preload library");
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
