#include "curve/WindlarkPreferences.h"
#include "platform/BuildVersion.h"
#include "platform/DefaultsStoreFactory.h"
#include "platform/HardwarePlatform.h"
#include "platform/HelperPlatform.h"
#include "platform/PreferredLanguagesFactory.h"
#include "shell/CommandLine.h"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    using namespace windlark;
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }

    CommandLine::Services services;
    // "--simulated-machine FILE" wins over the environment variable.
    const auto simulatedMachine = CommandLine::simulatedMachineArgument(arguments);
    services.hardware = simulatedMachine
                            ? HardwarePlatform::makeHardwareEnvironment(simulatedMachine, std::cerr)
                            : HardwarePlatform::makeHardwareEnvironment(std::cerr);
    if (services.hardware.hwmon) {
        const WindlarkPreferences preferences(makeStandardDefaultsStore(),
                                              makePreferredLanguagesSource());
        services.hardware.temperatureSensorChoice = preferences.loadTemperatureSensor();
    }
    services.helperCommands = HelperPlatform::makeHelperCommandRunner(services.hardware, std::cerr);

    // Diagnostic commands print their report and exit before any interface exists, so
    // they work without a display and under "do shell script".
    if (const auto command = CommandLine::diagnosticCommand(arguments)) {
        return CommandLine::run(*command, arguments, services, std::cout);
    }
    if (const auto option = CommandLine::informationOption(arguments)) {
        if (*option == CommandLine::InformationOption::help) {
            CommandLine::printHelp("windlark-mac", std::cout);
        } else {
            CommandLine::printVersion(kBuildVersion, std::cout);
        }
        return 0;
    }

    // Until the menu-bar application exists, a plain start shows what the hardware layer
    // sees.
    return CommandLine::run(DiagnosticCommand::printHardware, {}, services, std::cout);
}
