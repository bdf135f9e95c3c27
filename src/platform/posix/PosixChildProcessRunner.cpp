#include "platform/posix/PosixChildProcessRunner.h"

#include "platform/posix/SpawnArguments.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace windlark {

namespace {

// Closes a descriptor once, on every path out.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : descriptor_(descriptor) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    void reset(int descriptor = -1) {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = descriptor;
    }

private:
    int descriptor_ = -1;
};

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

// A pipe whose descriptors do not leak into other children.
bool makePipe(Pipe& pipe) {
    std::array<int, 2> ends{-1, -1};
    if (::pipe(ends.data()) != 0) {
        return false;
    }
    pipe.readEnd.reset(ends[0]);
    pipe.writeEnd.reset(ends[1]);
    return ::fcntl(ends[0], F_SETFD, FD_CLOEXEC) == 0 && ::fcntl(ends[1], F_SETFD, FD_CLOEXEC) == 0;
}

std::string errorText(const std::string& path, int error) {
    return "could not start " + path + ": " + std::strerror(error);
}

// More output than any report we read; a child that writes on and on is still drained
// (so that it never blocks on a full pipe) but the rest is dropped.
constexpr std::size_t kOutputLimit = std::size_t{1} << 20;

// Reads whatever is available; closes the descriptor at end of stream or on error.
void drain(FileDescriptor& descriptor, std::string& into) {
    std::array<char, 65536> buffer{};
    const ssize_t count = ::read(descriptor.get(), buffer.data(), buffer.size());
    if (count > 0) {
        const auto kept = std::min(static_cast<std::size_t>(count), kOutputLimit - into.size());
        into.append(buffer.data(), kept);
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        descriptor.reset();
    }
}

using Deadline = std::optional<std::chrono::steady_clock::time_point>;

// Milliseconds until the deadline for poll(): -1 without one, 0 once it has passed.
int pollTimeout(const Deadline& deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, 60000));
}

bool hasPassed(const Deadline& deadline) {
    return deadline && std::chrono::steady_clock::now() >= *deadline;
}

// The child leads its own process group, so this ends whatever it started as well.
void endProcessGroup(pid_t child) {
    (void)::kill(-child, SIGKILL);
}

// Waits for the child's exit until the deadline; false when it passed first.
bool waitForExit(pid_t child, const Deadline& deadline, int& status) {
    for (;;) {
        const pid_t result = ::waitpid(child, &status, deadline ? WNOHANG : 0);
        if (result == child) {
            return true;
        }
        if (result < 0 && errno != EINTR) {
            status = -1;
            return true;
        }
        if (result == 0) {
            if (hasPassed(deadline)) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
}

} // namespace

ChildProcessOutcome PosixChildProcessRunner::run(const std::string& executablePath,
                                                 const std::vector<std::string>& arguments,
                                                 TimeLimit timeLimit) {
    ChildProcessOutcome outcome;
    Pipe output;
    Pipe errors;
    if (!makePipe(output) || !makePipe(errors)) {
        outcome.launchError = errorText(executablePath, errno);
        return outcome;
    }

    posix_spawn_file_actions_t actions;
    if (const int error = posix_spawn_file_actions_init(&actions); error != 0) {
        outcome.launchError = errorText(executablePath, error);
        return outcome;
    }
    int actionError =
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (actionError == 0) {
        actionError =
            posix_spawn_file_actions_adddup2(&actions, output.writeEnd.get(), STDOUT_FILENO);
    }
    if (actionError == 0) {
        actionError =
            posix_spawn_file_actions_adddup2(&actions, errors.writeEnd.get(), STDERR_FILENO);
    }
    if (actionError != 0) {
        // Without its redirections the child would write into our own streams.
        posix_spawn_file_actions_destroy(&actions);
        outcome.launchError = errorText(executablePath, actionError);
        return outcome;
    }

    SpawnArguments argv(executablePath, arguments);

    // Only a child that may be ended gets a process group of its own: one that waits for
    // the user stays in ours, so that an interrupt from the terminal reaches it too.
    posix_spawnattr_t attributes;
    if (const int error = posix_spawnattr_init(&attributes); error != 0) {
        posix_spawn_file_actions_destroy(&actions);
        outcome.launchError = errorText(executablePath, error);
        return outcome;
    }
    if (timeLimit) {
        (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        (void)posix_spawnattr_setpgroup(&attributes, 0);
    }
    const Deadline deadline =
        timeLimit ? Deadline(std::chrono::steady_clock::now() + *timeLimit) : std::nullopt;

    pid_t child = -1;
    const int spawnError =
        ::posix_spawn(&child, executablePath.c_str(), &actions, &attributes, argv.argv(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    // Only the child writes; with our copies closed, end of stream means the child is done.
    output.writeEnd.reset();
    errors.writeEnd.reset();
    if (spawnError != 0) {
        outcome.launchError = errorText(executablePath, spawnError);
        return outcome;
    }

    while ((output.readEnd.isOpen() || errors.readEnd.isOpen()) && !hasPassed(deadline)) {
        std::array<pollfd, 2> watched{
            {{output.readEnd.get(), POLLIN, 0}, {errors.readEnd.get(), POLLIN, 0}}};
        if (::poll(watched.data(), watched.size(), pollTimeout(deadline)) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        if (watched[0].revents != 0) {
            drain(output.readEnd, outcome.standardOutput);
        }
        if (watched[1].revents != 0) {
            drain(errors.readEnd, outcome.standardError);
        }
    }

    // Output still open at the deadline: the child, or something it started, hangs.
    const bool isStillWriting = output.readEnd.isOpen() || errors.readEnd.isOpen();
    int status = 0;
    if ((deadline && isStillWriting) || !waitForExit(child, deadline, status)) {
        endProcessGroup(child);
        (void)waitForExit(child, std::nullopt, status);
        outcome.isTimedOut = true;
    }
    if (status == -1) {
        outcome.exitStatus = -1;
    } else if (WIFEXITED(status)) {
        outcome.exitStatus = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        outcome.exitStatus = 128 + WTERMSIG(status);
    } else {
        outcome.exitStatus = -1;
    }
    return outcome;
}

} // namespace windlark
