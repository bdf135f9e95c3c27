#include "platform/posix/PosixChildProcessRunner.h"

#include "platform/posix/SpawnArguments.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
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

// Reads whatever is available; closes the descriptor at end of stream or on error.
void drain(FileDescriptor& descriptor, std::string& into) {
    std::array<char, 65536> buffer{};
    const ssize_t count = ::read(descriptor.get(), buffer.data(), buffer.size());
    if (count > 0) {
        into.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        descriptor.reset();
    }
}

} // namespace

ChildProcessOutcome PosixChildProcessRunner::run(const std::string& executablePath,
                                                 const std::vector<std::string>& arguments) {
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

    pid_t child = -1;
    const int spawnError =
        ::posix_spawn(&child, executablePath.c_str(), &actions, nullptr, argv.argv(), environ);
    posix_spawn_file_actions_destroy(&actions);
    // Only the child writes; with our copies closed, end of stream means the child is done.
    output.writeEnd.reset();
    errors.writeEnd.reset();
    if (spawnError != 0) {
        outcome.launchError = errorText(executablePath, spawnError);
        return outcome;
    }

    while (output.readEnd.isOpen() || errors.readEnd.isOpen()) {
        std::array<pollfd, 2> watched{
            {{output.readEnd.get(), POLLIN, 0}, {errors.readEnd.get(), POLLIN, 0}}};
        if (::poll(watched.data(), watched.size(), -1) < 0) {
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

    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            outcome.exitStatus = -1;
            return outcome;
        }
    }
    if (WIFEXITED(status)) {
        outcome.exitStatus = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        outcome.exitStatus = 128 + WTERMSIG(status);
    } else {
        outcome.exitStatus = -1;
    }
    return outcome;
}

} // namespace windlark
