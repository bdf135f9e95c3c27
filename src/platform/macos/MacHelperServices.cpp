#include "platform/macos/MacHelperServices.h"

#include "platform/macos/MacCodeSigningService.h"
#include "platform/macos/MacHelperHost.h"
#include "platform/macos/MacHelperInstaller.h"
#include "platform/macos/MacHelperXPCConnector.h"

namespace windlark {

PrivilegedHelperServices makeMacHelperServices() {
    return {std::make_shared<MacHelperHost>(), std::make_shared<MacCodeSigningService>(),
            std::make_shared<MacHelperXPCConnector>(), std::make_shared<MacHelperInstaller>()};
}

} // namespace windlark
