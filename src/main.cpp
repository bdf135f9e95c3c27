#include "curve/WindlarkPreferences.h"
#include "hardware/AdminHardwareProbe.h"
#include "hardware/HardwareDiagnostics.h"
#include "helper/SimulatedHelper.h"
#include "platform/BuildVersion.h"
#include "platform/DefaultsStoreFactory.h"
#include "platform/HardwarePlatform.h"
#include "platform/HelperPlatform.h"
#include "platform/PreferredLanguagesFactory.h"
#include "platform/ShellPlatform.h"
#include "platform/posix/BoundedFile.h"
#include "shell/AppUpdateChecker.h"
#include "shell/ApplicationInstallLocationGuard.h"
#include "shell/CommandLine.h"
#include "shell/SystemLoginItemController.h"
#include "support/ThreadSerialQueue.h"
#include "ui/QtMainLoop.h"
#include "ui/SingleInstance.h"
#include "ui/WindlarkMacApp.h"

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace windlark;

constexpr const char* kProgramName = "windlark-mac";

std::optional<std::string> environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

// The machine file asked for, checked before anything starts: a machine that cannot be
// read must stop the start, not leave a half-simulated application running on nothing.
std::optional<std::string> simulatedMachineProblem(const std::string& path) {
    const BoundedFileRead file = readBoundedFile(path);
    if (!file.contents) {
        return file.error;
    }
    const SimulatedMachine::ParseResult parsed =
        SimulatedMachine::parse(*file.contents, std::make_shared<SystemClock>());
    if (!parsed.machine) {
        return parsed.error;
    }
    const SimulatedHelperParseResult helper = parseSimulatedHelper(parsed.machine->otherSections());
    if (!helper.error.empty()) {
        return "its helper section: " + helper.error;
    }
    return std::nullopt;
}

// Qt ends the process with abort() when no platform plugin can start (an X server that
// went away, a Wayland socket that refuses). That is not a crash of ours, so it leaves
// with a message and a plain failure status instead of a core dump.
void exitOnFatalPlatformMessage(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "%s: cannot show the menu-bar item: %s\n", kProgramName,
                     message.toLocal8Bit().constData());
        std::fflush(stderr);
        std::_Exit(1);
    }
    std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

constexpr bool isMac() {
#if defined(__APPLE__)
    return true;
#else
    return false;
#endif
}

// The one-fan Mac mini with its helper, installed beside the program or, in a build tree,
// in the sources.
std::optional<std::string> bundledSimulatedMachine() {
#if defined(WINDLARK_INSTALLED_MACHINES_DIR) && defined(WINDLARK_SOURCE_MACHINES_DIR)
    for (const char* folder : {WINDLARK_INSTALLED_MACHINES_DIR, WINDLARK_SOURCE_MACHINES_DIR}) {
        std::string path = std::string(folder) + "/mac-mini-one-fan.json";
        if (readBoundedFile(path).contents) {
            return path;
        }
    }
#endif
    return std::nullopt;
}

bool hasDisplay() {
#if defined(__APPLE__)
    return true;
#else
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value != nullptr && value[0] != '\0';
    };
    return isSet("QT_QPA_PLATFORM") || isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
#endif
}

int runApplication(int argc, char** argv, const std::optional<std::string>& machinePath) {
    if (machinePath) {
        if (const auto problem = simulatedMachineProblem(*machinePath)) {
            std::cerr << kProgramName << ": cannot start on the simulated machine " << *machinePath
                      << ": " << *problem << '\n';
            return 1;
        }
    }
    if (!hasDisplay()) {
        std::cerr << kProgramName
                  << ": no display to show the menu-bar item on (neither DISPLAY nor "
                     "WAYLAND_DISPLAY is set). The diagnostic options, such as "
                     "--print-hardware, work without one.\n";
        return 1;
    }

    const QtMessageHandler previousHandler = qInstallMessageHandler(exitOnFatalPlatformMessage);
    QApplication application(argc, argv);
    qInstallMessageHandler(previousHandler);
    QApplication::setApplicationName(QStringLiteral("Windlark Mac"));
    QApplication::setApplicationVersion(QString::fromLatin1(kBuildVersion));
    QApplication::setDesktopFileName(QStringLiteral("windlark-mac"));
    // The panel and the editor come and go; the application lives in the menu bar.
    QApplication::setQuitOnLastWindowClosed(false);

    // One application per session: a second one would fight the first for the fan.
    SingleInstance instance;
    if (instance.claim() == SingleInstance::Role::secondary) {
        return 0;
    }

    HardwareEnvironment hardware =
        HardwarePlatform::makeHardwareEnvironment(machinePath, std::cerr);
    std::optional<std::string> runningMachine = machinePath;
    if (!machinePath && !hardware.hwmon && !isMac()) {
        // Nothing to read on this computer: the bundled simulated Mac, so that a first start
        // shows a live fan and a filling history rather than nothing at all.
        if (auto bundled = bundledSimulatedMachine()) {
            hardware = HardwarePlatform::makeHardwareEnvironment(bundled, std::cerr);
            runningMachine = std::move(bundled);
        }
    }
    const ProcessEnvironment environment = ShellPlatform::currentEnvironment();
    auto mainLoop = std::make_shared<QtMainLoop>();
    auto files = ShellPlatform::makeInstallFileOperations();
    auto workspace = ShellPlatform::makeInstallWorkspace();
    const std::shared_ptr<const PreferredLanguagesSource> languages =
        makePreferredLanguagesSource();
    auto preferences =
        std::make_shared<WindlarkPreferences>(makeStandardDefaultsStore(), languages);
    if (hardware.hwmon) {
        hardware.temperatureSensorChoice = preferences->loadTemperatureSensor();
    }
    const std::string bundlePath = ShellPlatform::currentBundlePath();
    const auto bundleInfo = ShellPlatform::makeApplicationBundleInfo();

    WindlarkMacAppServices services;
    services.version = kBuildVersion;
    // The move offer and its failure alerts speak the system's preferred language: the
    // user's choice inside the application is not known yet.
    ApplicationInstallLocationGuard installGuard(bundlePath,
                                                 ShellPlatform::currentBundleIdentifier(), *files,
                                                 *workspace, preferredAppLanguage(*languages));
    services.shouldHandleInstallLocation = [&] {
        return installGuard.shouldHandleLaunch(environment);
    };
    services.handleInstallLocation = [&] { installGuard.showMovePrompt(); };
    services.preferences = preferences;

    WindlarkStoreServices& store = services.store;
    store.controller = HardwareDiagnostics::makeFanHardwareController(hardware);
    store.helperClient = HelperPlatform::makeHelperClient(hardware, runningMachine, std::cerr);
    store.loginItemController =
        std::make_shared<SystemLoginItemController>(ShellPlatform::makeLoginItemService());
    store.updateChecker = std::make_shared<AppUpdateChecker>(
        *bundleInfo, environment, ShellPlatform::makeHttpLoader(), *mainLoop);
    store.clock = hardware.clock;
    store.mainLoop = mainLoop;
    store.curveLeaseQueue =
        std::make_shared<ThreadSerialQueue>(std::string(WindlarkStore::curveLeaseQueueLabel));
    store.backgroundQueue =
        std::make_shared<ThreadSerialQueue>("com.quillmoor.WindlarkMac.background");
    store.runAdminProbe = [runner = hardware.processRunner](const std::string& executable) {
        return AdminHardwareProbe::run(*runner, executable);
    };
    const QString executable = QCoreApplication::applicationFilePath();
    if (!executable.isEmpty()) {
        store.executablePath = executable.toStdString();
    }
    store.isSimulatedMachine = hardware.simulatedMachine != nullptr;

    WindlarkMacApp app(std::move(services));
    QObject::connect(&instance, &SingleInstance::showRequested, &app, &WindlarkMacApp::showPanel);
    app.start();
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
    // "--simulated-machine FILE" names the machine; the environment variable is the
    // fallback, for the diagnostic commands and the application alike.
    std::optional<std::string> machinePath = CommandLine::simulatedMachineArgument(arguments);
    if (!machinePath) {
        machinePath = environmentValue(HardwarePlatform::simulatedMachineVariable);
    }

    // Diagnostic commands print their report and exit before any interface exists, so
    // they work without a display and under "do shell script".
    if (const auto command = CommandLine::diagnosticCommand(arguments)) {
        CommandLine::Services services;
        services.hardware = HardwarePlatform::makeHardwareEnvironment(machinePath, std::cerr);
        if (services.hardware.hwmon) {
            const WindlarkPreferences preferences(makeStandardDefaultsStore(),
                                                  makePreferredLanguagesSource());
            services.hardware.temperatureSensorChoice = preferences.loadTemperatureSensor();
        }
        services.helperCommands =
            HelperPlatform::makeHelperCommandRunner(services.hardware, std::cerr);
        return CommandLine::run(*command, arguments, services, std::cout);
    }
    if (const auto option = CommandLine::informationOption(arguments)) {
        if (*option == CommandLine::InformationOption::help) {
            CommandLine::printHelp(kProgramName, std::cout);
        } else {
            CommandLine::printVersion(kBuildVersion, std::cout);
        }
        return 0;
    }
    return runApplication(argc, argv, machinePath);
}
