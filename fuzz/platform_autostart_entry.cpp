// The autostart entry lives in the user's folder, where desktop settings and the user
// edit it. Whatever it holds, reading whether it is switched off must end in an answer;
// and the entry we write for any executable path must never read as switched off.

#include "platform/linux/XdgAutostartLoginItemService.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    (void)XdgAutostartLoginItemService::isHiddenEntry(text);

    // Paths hold no NUL; everything else may appear in one.
    const std::string_view path = text.substr(0, text.find('\0'));
    const XdgAutostartLoginItemService service("/nonexistent/autostart", std::string(path));
    if (XdgAutostartLoginItemService::isHiddenEntry(service.desktopEntry())) {
        std::abort();
    }
    return 0;
}
