#pragma once

#include "hardware/ChildProcessRunner.h"

namespace windlark {

// Runs a program with posix_spawn. Both output pipes are drained while the child runs,
// so a child that writes more than a pipe holds cannot block on a full pipe while we wait
// for it to exit; at most 1 MiB of each is kept. Standard input is /dev/null. A child with
// a time limit leads a process group of its own, which is killed when the limit passes.
class PosixChildProcessRunner final : public ChildProcessRunner {
public:
    [[nodiscard]] ChildProcessOutcome run(const std::string& executablePath,
                                          const std::vector<std::string>& arguments,
                                          TimeLimit timeLimit) override;
};

} // namespace windlark
