// The update document comes from a web server: whatever it sends, the check must end in
// a result (never an exception or a crash), and a published version must compare
// consistently with the running one.

#include "shell/AppUpdateCheckResult.h"
#include "shell/AppUpdateChecker.h"
#include "shell/AppVersion.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    // The first line is the running version, the rest the document.
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t lineEnd = input.find('\n');
    const std::string localVersion(
        input.substr(0, lineEnd == std::string_view::npos ? 0 : lineEnd));
    const std::string_view document =
        lineEnd == std::string_view::npos ? input : input.substr(lineEnd + 1);

    const AppUpdateCheckResult result = AppUpdateChecker::resultForDocument(localVersion, document);
    (void)rawValue(result.status);
    if (result.latestVersion) {
        const std::strong_ordering forward =
            AppVersion::compare(*result.latestVersion, localVersion);
        const std::strong_ordering backward =
            AppVersion::compare(localVersion, *result.latestVersion);
        // Antisymmetric, or an update could be offered in both directions.
        if ((forward > 0) != (backward < 0) || (forward == 0) != (backward == 0)) {
            std::abort();
        }
    }
    (void)AppVersion::components(input);
    return 0;
}
