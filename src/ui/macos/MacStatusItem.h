#pragma once

#include <QRect>
#include <QString>
#include <functional>
#include <memory>

namespace windlark {

// The menu-bar item on macOS. Qt's tray icon there is a fixed square without a title, so
// the item is our own variable-length NSStatusItem: the fan as a template image (it
// follows the menu bar's light and dark appearance), the reading as its title, and a
// width that grows with the reading. A click calls back into C++; a right click (or a
// control-click) asks for the item's menu.
class MacStatusItem {
public:
    MacStatusItem(std::function<void()> onClick, std::function<void()> onSecondaryClick);
    ~MacStatusItem();
    MacStatusItem(const MacStatusItem&) = delete;
    MacStatusItem& operator=(const MacStatusItem&) = delete;

    // The fan and `title`, `width` points wide.
    void update(const QString& title, int width);
    // The item's button on screen, in Qt's coordinates; empty while it is not shown.
    [[nodiscard]] QRect buttonGeometry() const;

    // No Dock icon and no menu bar of our own.
    static void setAccessoryActivationPolicy();
    // An accessory application must step forward before its windows can take focus.
    static void activateIgnoringOtherApps();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace windlark
