#include "ui/StatusBarController.h"

#include "store/WindlarkStore.h"
#include "text/L10n.h"
#include "ui/ContentView.h"
#include "ui/MenuBarPanelView.h"
#include "ui/QtText.h"
#include "ui/StatusItemPicture.h"
#include "ui/Symbols.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QMenu>
#include <QPixmap>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QVBoxLayout>
#include <QWidget>
#include <algorithm>

#if defined(__APPLE__)
#include "ui/macos/MacStatusItem.h"
#else
namespace windlark {
// Elsewhere the item is a tray icon; this only completes the type the member names.
class MacStatusItem {};
} // namespace windlark
#endif

namespace windlark {
namespace {

// A click on the item that closed the popup arrives this soon after it closed.
constexpr qint64 kReopenGuardMilliseconds = 250;
constexpr int kPanelGap = 4;

QRect availableGeometryAt(const QPoint& point) {
    QScreen* screen = QGuiApplication::screenAt(point);
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    return screen != nullptr ? screen->availableGeometry() : QRect();
}

} // namespace

StatusBarController::Presentation StatusBarController::presentationFor(const QString& platformName,
                                                                       bool isSystemTrayAvailable) {
    if (platformName == QLatin1String("cocoa")) {
        return {true, PanelStyle::attachedToItem};
    }
    if (platformName.startsWith(QLatin1String("wayland"))) {
        // Wayland places no popup where the application asks, and a parentless popup
        // fails outright there.
        return {isSystemTrayAvailable, PanelStyle::window};
    }
    if (isSystemTrayAvailable) {
        return {true, PanelStyle::besideTrayIcon};
    }
    return {false, PanelStyle::window};
}

StatusBarController::Presentation StatusBarController::currentPresentation() {
    return presentationFor(QGuiApplication::platformName(),
                           QSystemTrayIcon::isSystemTrayAvailable());
}

QPoint StatusBarController::panelPosition(const QRect& anchor, const QSize& size,
                                          const QRect& available) {
    int x = anchor.left() + (anchor.width() - size.width()) / 2;
    const bool isNearBottom = available.isValid() && anchor.center().y() > available.center().y();
    int y =
        isNearBottom ? anchor.top() - kPanelGap - size.height() : anchor.bottom() + 1 + kPanelGap;
    if (available.isValid()) {
        x = std::clamp(x, available.left(),
                       std::max(available.left(), available.right() + 1 - size.width()));
        y = std::clamp(y, available.top(),
                       std::max(available.top(), available.bottom() + 1 - size.height()));
    }
    return {x, y};
}

StatusBarController::StatusBarController(WindlarkStore& store, Presentation presentation,
                                         Actions actions, QObject* parent)
    : QObject(parent)
    , store_(store)
    , presentation_(presentation)
    , actions_(std::move(actions))
    , language_(store.language()) {
    MenuBarPanelView::Actions panelActions;
    panelActions.openEditor = [this] { showEditorWindow(); };
    panelActions.quit = [this] {
        if (actions_.quit) {
            actions_.quit();
        }
    };
    panelActions.about = actions_.about;
    panel_ = std::make_unique<MenuBarPanelView>(store_, std::move(panelActions));
    if (presentation_.panelStyle == PanelStyle::window) {
        panel_->setWindowFlags(Qt::Window | Qt::WindowCloseButtonHint |
                               Qt::WindowMinimizeButtonHint);
    } else {
        panel_->setWindowFlags(Qt::Popup);
    }
    panel_->setWindowIcon(
        Symbols::icon(Symbols::Symbol::fan, MenuBarPanelView::modeTint(FanControlMode::curve)));
    panel_->installEventFilter(this);
    panelHiddenAt_.invalidate();

    buildMenu();
    if (presentation_.hasStatusItem) {
#if defined(__APPLE__)
        macItem_ = std::make_unique<MacStatusItem>(
            [this] { togglePanel(); }, [this] { menu_->popup(itemAnchor().bottomLeft()); });
#else
        tray_ = std::make_unique<QSystemTrayIcon>();
        tray_->setContextMenu(menu_.get());
        connect(tray_.get(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger) {
                        togglePanel();
                    }
                });
#endif
    }
    retranslate();
    updateStatusItem();
    if (tray_) {
        tray_->show();
    }

    shownLeaseEndNotices_ = store_.leaseEndNoticeCount();
    subscription_ = store_.subscribe([this](StoreChanges) {
        // The language is "other" news, and it changes the item's word on unsupported
        // hardware; comparing the text keeps redraws to the ones that show something new.
        if (store_.language() != language_) {
            language_ = store_.language();
            retranslate();
        }
        updateStatusItem();
        // A fan the daemon handed back is news even with the panel closed; without a tray
        // the store's status line carries it.
        if (store_.leaseEndNoticeCount() != shownLeaseEndNotices_) {
            shownLeaseEndNotices_ = store_.leaseEndNoticeCount();
            if (tray_ && store_.leaseEndNotice()) {
                tray_->showMessage(QStringLiteral("Windlark Mac"),
                                   QString::fromStdString(*store_.leaseEndNotice()),
                                   QSystemTrayIcon::Warning);
            }
        }
    });

    // Without an item the panel is the application's only presence: it shows at once.
    if (!presentation_.hasStatusItem) {
        showPanel();
    }
}

StatusBarController::~StatusBarController() {
    subscription_.cancel();
    if (panel_) {
        panel_->removeEventFilter(this);
    }
}

int StatusBarController::itemWidth() const {
    return StatusItemPicture::itemWidth(statusText_);
}

void StatusBarController::buildMenu() {
    menu_ = std::make_unique<QMenu>();
    statusAction_ = menu_->addAction(QString());
    statusAction_->setEnabled(false);
    menu_->addSeparator();
    panelAction_ = menu_->addAction(QString(), this, [this] { showPanel(); });
    editorAction_ = menu_->addAction(QString(), this, [this] { showEditorWindow(); });
    menu_->addSeparator();
    aboutAction_ = menu_->addAction(QStringLiteral("About Windlark Mac"), this, [this] {
        if (actions_.about) {
            actions_.about();
        }
    });
    quitAction_ = menu_->addAction(QString(), this, [this] {
        if (actions_.quit) {
            actions_.quit();
        }
    });
}

void StatusBarController::retranslate() {
    const AppLanguage language = store_.language();
    const QString name = toQString(L10n::text(L10nKey::windlarkMac, language));
    panelAction_->setText(name);
    editorAction_->setText(toQString(L10n::text(L10nKey::openCurveEditor, language)));
    quitAction_->setText(toQString(L10n::text(L10nKey::quitWindlarkMac, language)));
    panel_->setWindowTitle(name);
    if (editorWindow_) {
        editorWindow_->setWindowTitle(toQString(L10n::text(L10nKey::curveEditor, language)));
    }
}

void StatusBarController::updateStatusItem() {
    const QString text = toQString(store_.menuBarStatusText());
    if (hasDrawn_ && text == statusText_) {
        return;
    }
    hasDrawn_ = true;
    statusText_ = text;
    const QString reading = StatusItemPicture::trayReading(text);
    const QColor ink = QApplication::palette().color(QPalette::WindowText);
    picture_ = StatusItemPicture::trayPicture(reading, 44, ink);
    statusAction_->setText(text);
    const QString tooltip = QStringLiteral("Windlark Mac: ") + text;
#if defined(__APPLE__)
    if (macItem_) {
        macItem_->update(text, itemWidth());
    }
#endif
    if (tray_) {
        QIcon icon;
        icon.addPixmap(QPixmap::fromImage(StatusItemPicture::trayPicture(reading, 22, ink)));
        icon.addPixmap(QPixmap::fromImage(picture_));
        tray_->setIcon(icon);
        tray_->setToolTip(tooltip);
    }
    emit statusItemRedrawn(text);
}

QRect StatusBarController::itemAnchor() const {
#if defined(__APPLE__)
    if (macItem_) {
        const QRect frame = macItem_->buttonGeometry();
        if (frame.isValid()) {
            return frame;
        }
    }
#endif
    if (tray_) {
        const QRect geometry = tray_->geometry();
        // Under StatusNotifierItem the tray does not say where the icon is.
        if (geometry.isValid() && !geometry.isEmpty()) {
            return geometry;
        }
    }
    return {QCursor::pos(), QSize(1, 1)};
}

void StatusBarController::togglePanel() {
    if (presentation_.panelStyle == PanelStyle::window) {
        if (panel_->isVisible() && panel_->isActiveWindow() && !panel_->isMinimized()) {
            panel_->hide();
        } else {
            showPanel();
        }
        return;
    }
    if (panel_->isVisible()) {
        panel_->hide();
        return;
    }
    if (panelHiddenAt_.isValid() && panelHiddenAt_.elapsed() < kReopenGuardMilliseconds) {
        return;
    }
    showPanel();
}

void StatusBarController::showPanel() {
    if (presentation_.panelStyle == PanelStyle::window) {
        panel_->showNormal();
        panel_->raise();
        panel_->activateWindow();
        return;
    }
    const QRect anchor = itemAnchor();
    panel_->move(panelPosition(anchor, panel_->size(), availableGeometryAt(anchor.center())));
#if defined(__APPLE__)
    MacStatusItem::activateIgnoringOtherApps();
#endif
    panel_->show();
    panel_->raise();
    panel_->activateWindow();
}

void StatusBarController::showEditorWindow() {
    if (!editorWindow_) {
        editorWindow_ = std::make_unique<QWidget>(nullptr, Qt::Window);
        editorWindow_->setObjectName(QStringLiteral("curveEditorWindow"));
        editorWindow_->setWindowTitle(
            toQString(L10n::text(L10nKey::curveEditor, store_.language())));
        editorWindow_->setWindowIcon(panel_->windowIcon());
        editorWindow_->setMinimumSize(editorWindowMinimumSize);
        editorWindow_->resize(editorWindowDefaultSize);
        auto* layout = new QVBoxLayout(editorWindow_.get());
        layout->setContentsMargins(0, 0, 0, 0);
        auto* content = new ContentView(store_, editorWindow_.get());
        content->setTemperatureSensorPicker(store_.temperatureSensorPicker());
        layout->addWidget(content);
        const QRect available = availableGeometryAt(QCursor::pos());
        if (available.isValid()) {
            QRect frame(QPoint(), editorWindowDefaultSize);
            frame.moveCenter(available.center());
            editorWindow_->move(frame.topLeft());
        }
    }
    if (presentation_.panelStyle != PanelStyle::window && panel_->isVisible()) {
        panel_->hide();
    }
#if defined(__APPLE__)
    // An application without a Dock icon stays behind the others unless it steps forward.
    MacStatusItem::activateIgnoringOtherApps();
#endif
    editorWindow_->showNormal();
    editorWindow_->raise();
    editorWindow_->activateWindow();
}

bool StatusBarController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == panel_.get()) {
        if (event->type() == QEvent::Hide) {
            panelHiddenAt_.start();
        } else if (event->type() == QEvent::Close &&
                   presentation_.panelStyle == PanelStyle::window && !presentation_.hasStatusItem) {
            // With nothing in a tray, a closed panel would leave the fan under the control
            // of an application nobody can see: it goes to the taskbar instead.
            event->ignore();
            panel_->showMinimized();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace windlark
