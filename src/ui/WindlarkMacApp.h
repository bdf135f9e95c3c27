#pragma once

#include "curve/WindlarkPreferences.h"
#include "store/WindlarkStore.h"
#include "ui/StatusBarController.h"

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace windlark {

class TerminationSignals;

// What the application is started with. The platform fills it in; tests give fakes.
struct WindlarkMacAppServices {
    // Everything the store runs on. Its preferences are taken from `preferences` below.
    WindlarkStoreServices store;
    // Absent: nothing is loaded or saved.
    std::shared_ptr<WindlarkPreferences> preferences;
    // The install-location decision, asked first: true while this copy must offer to move
    // itself (it runs from a disk image) and should show nothing else. Empty: never.
    std::function<bool()> shouldHandleInstallLocation;
    // Shows that offer; runs later, on the main loop, only when the decision said so.
    std::function<void()> handleInstallLocation;
    // Ends the event loop with an exit status; empty: QCoreApplication::exit.
    std::function<void(int)> exit;
    // How the item and panel appear; empty: as the running platform allows.
    std::optional<StatusBarController::Presentation> presentation;
    std::string version;
};

// The menu-bar application: builds the store in the right order, puts the status item in
// the menu bar, and on the way out, however it is asked to go (Quit, a termination
// signal, the session ending), hands the fan back to the system first.
class WindlarkMacApp final : public QObject {
    Q_OBJECT

public:
    explicit WindlarkMacApp(WindlarkMacAppServices services, QObject* parent = nullptr);
    ~WindlarkMacApp() override;
    WindlarkMacApp(const WindlarkMacApp&) = delete;
    WindlarkMacApp& operator=(const WindlarkMacApp&) = delete;

    // The install-location decision, the saved profile, the store, then the status item.
    void start();

    // Queues `activateStatusBarController` on the event loop.
    void prepareStatusBarController();
    // Creates the one status-bar controller; later calls, and calls while the install
    // offer is pending or before the store exists, do nothing.
    void activateStatusBarController();

    // Asks the store, when there is one, to hand fan control back to the system. Runs
    // once; quitting before the store exists resets nothing.
    void resetFanControlBeforeAppTermination();
    // The reset, then the end of the event loop with status 0.
    void quit();

    // Another start asked for the panel.
    void showPanel();
    void showAbout();

    [[nodiscard]] WindlarkStore* store() const { return store_.get(); }
    [[nodiscard]] StatusBarController* statusBarController() const { return controller_.get(); }
    [[nodiscard]] bool isHandlingInstallLocation() const { return isHandlingInstallLocation_; }

private:
    WindlarkMacAppServices services_;
    bool isHandlingInstallLocation_ = false;
    bool hasResetFanControl_ = false;
    std::unique_ptr<WindlarkStore> store_;
    std::unique_ptr<StatusBarController> controller_;
    std::unique_ptr<TerminationSignals> terminationSignals_;
};

} // namespace windlark
