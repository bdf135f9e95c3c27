#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// How one child process ended.
struct ChildProcessOutcome {
    // Set when the process could not be started at all; the other fields are then empty.
    std::optional<std::string> launchError;
    int exitStatus = 0; // the exit code, or 128 + the signal that ended it
    std::string standardOutput;
    std::string standardError;
    bool isTimedOut = false; // it outlived its time limit and was ended

    bool operator==(const ChildProcessOutcome&) const = default;
};

// Starts a program with arguments, captures both of its output streams and waits for it.
// With a time limit, a child still running when it passes is ended together with every
// process it started; without one, the wait lasts as long as the child does (a child that
// waits for the user, such as an authentication dialog, must not be cut short).
class ChildProcessRunner {
public:
    using TimeLimit = std::optional<std::chrono::milliseconds>;

    virtual ~ChildProcessRunner() = default;
    [[nodiscard]] virtual ChildProcessOutcome run(const std::string& executablePath,
                                                  const std::vector<std::string>& arguments,
                                                  TimeLimit timeLimit) = 0;
};

} // namespace windlark
