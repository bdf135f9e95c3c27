#pragma once

#include "hardware/ChildProcessRunner.h"

#include <map>
#include <string>
#include <vector>

namespace windlark {

// Scripted child processes: each executable path gets a fixed outcome; an unknown path
// fails to launch, as a missing file would. Every run is recorded.
class FakeChildProcessRunner final : public ChildProcessRunner {
public:
    struct Call {
        std::string executablePath;
        std::vector<std::string> arguments;
        TimeLimit timeLimit;
    };

    ChildProcessOutcome run(const std::string& executablePath,
                            const std::vector<std::string>& arguments,
                            TimeLimit timeLimit) override {
        calls.push_back({executablePath, arguments, timeLimit});
        const auto found = outcomes.find(executablePath);
        if (found == outcomes.end()) {
            return {.launchError =
                        "could not start " + executablePath + ": No such file or directory",
                    .exitStatus = 0,
                    .standardOutput = {},
                    .standardError = {},
                    .isTimedOut = false};
        }
        return found->second;
    }

    std::map<std::string, ChildProcessOutcome> outcomes;
    std::vector<Call> calls;
};

} // namespace windlark
