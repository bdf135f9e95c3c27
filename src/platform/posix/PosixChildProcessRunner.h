#pragma once

#include "hardware/ChildProcessRunner.h"

namespace windlark {

// Runs a program with posix_spawn. Both output pipes are drained while the child runs,
// so a child that writes more than a pipe holds cannot block on a full pipe while we wait
// for it to exit. Standard input is /dev/null.
class PosixChildProcessRunner final : public ChildProcessRunner {
public:
    [[nodiscard]] ChildProcessOutcome run(const std::string& executablePath,
                                          const std::vector<std::string>& arguments) override;
};

} // namespace windlark
