#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// Another running copy of this application.
struct RunningApplication {
    int processIdentifier = 0;
    // Where its bundle lies, when the system knows.
    std::optional<std::string> bundlePath;

    bool operator==(const RunningApplication&) const = default;
};

// A modal question. The answer is the system's modal response: 1000 for the first
// button, 1001 for the second, and so on.
struct InstallAlert {
    enum class Style {
        warning = 0,
        informational = 1,
    };
    static constexpr int kFirstButtonResponse = 1000;

    Style style = Style::informational;
    std::string messageText;
    std::string informativeText;
    std::vector<std::string> buttons;

    bool operator==(const InstallAlert&) const = default;
};

// The running session as the install-location guard needs it: other processes, alerts,
// launching and quitting.
class InstallWorkspace {
public:
    virtual ~InstallWorkspace() = default;

    // False where there is no application bundle to move (Linux): the guard then never
    // takes over a launch.
    [[nodiscard]] virtual bool hasApplicationBundles() const = 0;
    [[nodiscard]] virtual int currentProcessIdentifier() const = 0;
    [[nodiscard]] virtual std::vector<RunningApplication>
    runningApplications(std::string_view bundleIdentifier) const = 0;

    virtual void activate(int processIdentifier) = 0;
    // Makes this normally Dock-less application a regular, unhidden, frontmost one, so
    // that its alert cannot open behind other windows.
    virtual void bringThisApplicationForward() = 0;
    // Shows the alert above other applications' windows and waits for the answer.
    [[nodiscard]] virtual int runModalAlert(const InstallAlert& alert) = 0;
    // Starts `tool` with `arguments` without waiting for it; the launch error's
    // description on failure.
    [[nodiscard]] virtual std::optional<std::string>
    launchDetached(const std::string& tool, const std::vector<std::string>& arguments) = 0;
    // Opens a file-viewer window on `directory`, nothing selected.
    virtual void openFileViewer(const std::string& directory) = 0;
    virtual void terminate() = 0;
};

} // namespace windlark
