#pragma once

#include "support/CancellationHandle.h"
#include "text/AppLanguage.h"

#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;
class QWidget;

namespace windlark {

class MacStatusItem;
class MenuBarPanelView;
class WindlarkStore;

// The application's one presence in the menu bar or the tray: the status item with its
// live reading, the panel it opens and the curve editor window opened from the panel.
//
// The item redraws only when its text changes: the store publishes every two seconds, a
// tray icon change is a round trip to the tray host, and most ticks leave the reading as
// it was.
class StatusBarController final : public QObject {
    Q_OBJECT

public:
    static constexpr QSize editorWindowDefaultSize{1280, 820};
    static constexpr QSize editorWindowMinimumSize{1180, 760};

    // How the panel appears.
    enum class PanelStyle {
        attachedToItem, // macOS: a popup under the menu-bar item
        besideTrayIcon, // X11 with a tray: a popup next to the icon
        window,         // Wayland (no placing of popups) or no tray at all: a small window
    };
    struct Presentation {
        bool hasStatusItem = false;
        PanelStyle panelStyle = PanelStyle::window;

        bool operator==(const Presentation&) const = default;
    };
    // For Qt's platform plugin ("cocoa", "xcb", "wayland", "offscreen", ...) and whether a
    // tray host is there.
    [[nodiscard]] static Presentation presentationFor(const QString& platformName,
                                                      bool isSystemTrayAvailable);
    [[nodiscard]] static Presentation currentPresentation();

    // Where a popup of `size` goes for an item at `anchor`: centred on it, under it, or
    // above it when the item sits in the lower half (a bottom panel), kept inside
    // `available`.
    [[nodiscard]] static QPoint panelPosition(const QRect& anchor, const QSize& size,
                                              const QRect& available);

    struct Actions {
        std::function<void()> quit;
        std::function<void()> about;
    };

    StatusBarController(WindlarkStore& store, Presentation presentation, Actions actions,
                        QObject* parent = nullptr);
    ~StatusBarController() override;
    StatusBarController(const StatusBarController&) = delete;
    StatusBarController& operator=(const StatusBarController&) = delete;

    void togglePanel();
    void showPanel();
    // Creates the editor window the first time, then brings the same one to the front.
    void showEditorWindow();

    [[nodiscard]] const Presentation& presentation() const { return presentation_; }
    [[nodiscard]] MenuBarPanelView* panel() const { return panel_.get(); }
    [[nodiscard]] QWidget* editorWindow() const { return editorWindow_.get(); }
    // What the item shows now, its width in points on macOS, and the tray picture.
    [[nodiscard]] const QString& statusText() const { return statusText_; }
    [[nodiscard]] int itemWidth() const;
    [[nodiscard]] const QImage& statusItemPicture() const { return picture_; }
    // The tray icon's menu (the reading, the panel, the editor, About, Quit).
    [[nodiscard]] QMenu* itemMenu() const { return menu_.get(); }

signals:
    // The item was drawn again, showing `text`.
    void statusItemRedrawn(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenu();
    void updateStatusItem();
    void retranslate();
    [[nodiscard]] QRect itemAnchor() const;

    WindlarkStore& store_;
    Presentation presentation_;
    Actions actions_;
    std::unique_ptr<MenuBarPanelView> panel_;
    std::unique_ptr<QWidget> editorWindow_;
    std::unique_ptr<QMenu> menu_;
    QAction* statusAction_ = nullptr;
    QAction* panelAction_ = nullptr;
    QAction* editorAction_ = nullptr;
    QAction* aboutAction_ = nullptr;
    QAction* quitAction_ = nullptr;
    std::unique_ptr<QSystemTrayIcon> tray_;
    std::unique_ptr<MacStatusItem> macItem_;

    QString statusText_;
    bool hasDrawn_ = false;
    QImage picture_;
    AppLanguage language_ = AppLanguage::english;
    // The store's lease-end notices already shown as a tray message.
    std::uint64_t shownLeaseEndNotices_ = 0;
    // A popup closes itself on the click that lands on the item; that same click must
    // not open it again.
    QElapsedTimer panelHiddenAt_;
    CancellationHandle subscription_;
};

} // namespace windlark
