#pragma once

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

    bool operator==(const ChildProcessOutcome&) const = default;
};

// Starts a program with arguments, captures both of its output streams and waits for it.
class ChildProcessRunner {
public:
    virtual ~ChildProcessRunner() = default;
    [[nodiscard]] virtual ChildProcessOutcome run(const std::string& executablePath,
                                                  const std::vector<std::string>& arguments) = 0;
};

} // namespace windlark
