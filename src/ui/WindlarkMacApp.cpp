#include "ui/WindlarkMacApp.h"

#include "ui/MenuBarPanelView.h"
#include "ui/Symbols.h"
#include "ui/TerminationSignals.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QTimer>

#if defined(__APPLE__)
#include "ui/macos/MacStatusItem.h"
#endif

namespace windlark {

WindlarkMacApp::WindlarkMacApp(WindlarkMacAppServices services, QObject* parent)
    : QObject(parent)
    , services_(std::move(services))
    , terminationSignals_(std::make_unique<TerminationSignals>()) {
    // A service manager's stop, Ctrl-C in a terminal and a closed terminal all leave
    // through Quit, so the fan is handed back whichever way the process is asked to end.
    connect(terminationSignals_.get(), &TerminationSignals::received, this, [this] { quit(); });
    // Quits started elsewhere (the session ending, the Dock's Quit on macOS) pass here.
    if (QCoreApplication::instance() != nullptr) {
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
                [this] { resetFanControlBeforeAppTermination(); });
    }
}

WindlarkMacApp::~WindlarkMacApp() {
    // The controller's views hold the store by reference: they go first.
    controller_.reset();
    store_.reset();
}

void WindlarkMacApp::start() {
    if (store_) {
        return;
    }
    isHandlingInstallLocation_ =
        services_.shouldHandleInstallLocation && services_.shouldHandleInstallLocation();

    // A saved curve is kept as the user left it; only a first start fits the built-in
    // curve's speed axis to the fans found.
    std::optional<WindlarkProfile> saved;
    if (services_.preferences) {
        saved = services_.preferences->loadProfile();
    }
    WindlarkStoreOptions options;
    options.applyHardwareRangeToInitialProfile = !saved.has_value();
    if (saved) {
        options.profile = std::move(*saved);
    }
    WindlarkStoreServices storeServices = services_.store;
    storeServices.preferences = services_.preferences;
    store_ = std::make_unique<WindlarkStore>(std::move(storeServices), std::move(options));

    prepareStatusBarController();
    if (isHandlingInstallLocation_ && services_.handleInstallLocation) {
        QTimer::singleShot(0, this, [this] { services_.handleInstallLocation(); });
    }

    // The launch is complete: no Dock icon, then the item (the queued activation finds it
    // made and does nothing).
#if defined(__APPLE__)
    MacStatusItem::setAccessoryActivationPolicy();
#endif
    activateStatusBarController();
}

void WindlarkMacApp::prepareStatusBarController() {
    QTimer::singleShot(0, this, [this] { activateStatusBarController(); });
}

void WindlarkMacApp::activateStatusBarController() {
    if (controller_ || !store_ || isHandlingInstallLocation_) {
        return;
    }
    StatusBarController::Actions actions;
    actions.quit = [this] { quit(); };
    actions.about = [this] { showAbout(); };
    controller_ = std::make_unique<StatusBarController>(
        *store_, services_.presentation.value_or(StatusBarController::currentPresentation()),
        std::move(actions));
}

void WindlarkMacApp::resetFanControlBeforeAppTermination() {
    if (hasResetFanControl_ || !store_) {
        return;
    }
    hasResetFanControl_ = true;
    store_->resetFanControlBeforeTermination();
}

void WindlarkMacApp::quit() {
    resetFanControlBeforeAppTermination();
    if (services_.exit) {
        services_.exit(0);
    } else {
        QCoreApplication::exit(0);
    }
}

void WindlarkMacApp::showPanel() {
    if (controller_) {
        controller_->showPanel();
    }
}

void WindlarkMacApp::showAbout() {
    auto* box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("About Windlark Mac"),
                                QStringLiteral("<b>Windlark Mac</b> %1")
                                    .arg(QString::fromStdString(services_.version).toHtmlEscaped()),
                                QMessageBox::Ok);
    box->setInformativeText(
        QStringLiteral("Your own fan curve for Apple-silicon Macs. The fan goes back to macOS "
                       "whenever the app stops."));
    box->setIconPixmap(
        Symbols::icon(Symbols::Symbol::fan, MenuBarPanelView::modeTint(FanControlMode::curve))
            .pixmap(64, 64));
    box->setAttribute(Qt::WA_DeleteOnClose);
#if defined(__APPLE__)
    MacStatusItem::activateIgnoringOtherApps();
#endif
    box->show();
    box->raise();
    box->activateWindow();
}

} // namespace windlark
