#pragma once

#include "shell/LoginItemService.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The freedesktop autostart convention: a desktop entry for this executable in the
// user's autostart folder starts it at login, unless the entry says Hidden=true (which
// is how desktop settings switch an entry off without deleting it). There is no approval
// step on these desktops.
class XdgAutostartLoginItemService final : public LoginItemService {
public:
    static constexpr std::string_view kFileName = "windlark-mac.desktop";

    XdgAutostartLoginItemService(std::filesystem::path autostartDirectory,
                                 std::filesystem::path executable);

    [[nodiscard]] int statusCode() const override;
    [[nodiscard]] std::optional<LoginItemError> registerApplication() override;
    [[nodiscard]] std::optional<LoginItemError> unregisterApplication() override;

    [[nodiscard]] const std::filesystem::path& desktopFile() const { return desktopFile_; }

    // The entry's text; the executable's path quoted and escaped for the Exec key.
    [[nodiscard]] std::string desktopEntry() const;
    [[nodiscard]] static std::string execValue(std::string_view executable);
    // Whether the entry's [Desktop Entry] group holds Hidden=true.
    [[nodiscard]] static bool isHiddenEntry(std::string_view entry);

    // $XDG_CONFIG_HOME/autostart when that variable holds an absolute path, else
    // $HOME/.config/autostart; absent when neither is known.
    [[nodiscard]] static std::optional<std::filesystem::path>
    defaultAutostartDirectory(const char* xdgConfigHome, const char* home);

private:
    std::filesystem::path directory_;
    std::filesystem::path executable_;
    std::filesystem::path desktopFile_;
};

} // namespace windlark
