#pragma once

#include "shell/ApplicationBundleInfo.h"
#include "shell/HttpLoader.h"
#include "shell/InstallFileOperations.h"
#include "shell/InstallWorkspace.h"
#include "shell/LoginItemService.h"
#include "shell/ProcessEnvironment.h"

#include <memory>
#include <string>

// The real services behind the application shell's seams, for the system this build is for.
namespace windlark::ShellPlatform {

// A snapshot of this process's environment variables.
[[nodiscard]] ProcessEnvironment currentEnvironment();

// The application bundle's information (macOS); elsewhere only the build's version, as
// the short version string.
[[nodiscard]] std::unique_ptr<ApplicationBundleInfo> makeApplicationBundleInfo();
// The running bundle's location (macOS) or this executable's path.
[[nodiscard]] std::string currentBundlePath();
// The running bundle's identifier; empty where there is none.
[[nodiscard]] std::string currentBundleIdentifier();

// Build on the main thread, before any check starts.
[[nodiscard]] std::shared_ptr<HttpLoader> makeHttpLoader();
[[nodiscard]] std::shared_ptr<LoginItemService> makeLoginItemService();
[[nodiscard]] std::unique_ptr<InstallFileOperations> makeInstallFileOperations();
[[nodiscard]] std::unique_ptr<InstallWorkspace> makeInstallWorkspace();

} // namespace windlark::ShellPlatform
