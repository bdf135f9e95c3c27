#pragma once

// The real windlarkd over a scratch sysfs tree of plain files: one nct6798 fan in the
// chip's own curve mode 5, calibrated. Runs without root; the daemon is told which group
// may use its socket.

#include "daemon/DaemonFrame.h"
#include "fakes/ScratchDirectory.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <optional>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace windlark {

inline const std::string fanId = "nct6798@/sys/devices/platform/nct6775.656#fan1";

class DaemonRig {
public:
    DaemonRig() {
        // Other users must reach the socket for the access check to be the one refusing.
        std::filesystem::permissions(scratch_.path(), std::filesystem::perms::others_exec,
                                     std::filesystem::perm_options::add);
        const auto chip = root() / "devices/platform/nct6775.656/hwmon/hwmon7";
        std::filesystem::create_directories(chip);
        std::filesystem::create_directories(root() / "class/hwmon");
        std::filesystem::create_directories(scratch_.path() / "run");
        std::filesystem::create_directories(scratch_.path() / "state");
        std::filesystem::create_directory_symlink(chip, root() / "class/hwmon/hwmon7");
        std::filesystem::create_directory_symlink(root() / "devices/platform/nct6775.656",
                                                  chip / "device");
        put("name", "nct6798");
        put("pwm1_enable", "5");
        put("pwm1", "90");
        put("fan1_input", "1250");
        std::ofstream(scratch_.path() / "state/calibration.json")
            << R"({"fans": {")" << fanId
            << R"(": [[0, 0], [40, 0], [60, 500], [128, 1000], [255, 2000]]}})";
    }
    ~DaemonRig() { stop(SIGKILL); }

    std::filesystem::path root() const { return scratch_.path() / "sys"; }
    std::filesystem::path hwmon() const { return root() / "class/hwmon/hwmon7"; }
    std::filesystem::path socketPath() const { return scratch_.path() / "windlark.sock"; }
    std::filesystem::path savedFile() const { return scratch_.path() / "run/saved.json"; }

    void put(const std::string& name, const std::string& value) const {
        std::ofstream(hwmon() / name) << value << '\n';
    }
    std::string get(const std::string& name) const {
        std::ifstream file(hwmon() / name);
        std::string value;
        file >> value;
        return value;
    }
    std::string log() const {
        std::ifstream file(scratch_.path() / "daemon.log");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }
    bool isOriginal() const { return get("pwm1_enable") == "5" && get("pwm1") == "90"; }

    // Runs windlarkd with `arguments`; without --restore it serves until stopped.
    pid_t spawn(std::vector<std::string> arguments, const std::string& group = primaryGroup()) {
        arguments.insert(arguments.begin(), {WINDLARKD_EXECUTABLE, "--no-logind", "--socket",
                                             socketPath().string(), "--group", group});
        const pid_t child = ::fork();
        if (child == 0) {
            const int log = ::open((scratch_.path() / "daemon.log").c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0600);
            ::dup2(log, 2);
            ::setenv("WINDLARKD_SYSFS_ROOT", root().c_str(), 1);
            ::setenv("WINDLARKD_RUNTIME_DIRECTORY", (scratch_.path() / "run").c_str(), 1);
            ::setenv("WINDLARKD_STATE_DIRECTORY", (scratch_.path() / "state").c_str(), 1);
            std::vector<char*> argv;
            for (std::string& argument : arguments) {
                argv.push_back(argument.data());
            }
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        return child;
    }
    // True once the daemon listens.
    [[nodiscard]] bool start(const std::string& group = primaryGroup()) {
        std::filesystem::remove(socketPath());
        daemon_ = spawn({}, group);
        return waitFor([this] { return std::filesystem::exists(socketPath()); },
                       std::chrono::seconds(2))
            .has_value();
    }
    [[nodiscard]] pid_t pid() const { return daemon_; }
    void stop(int signal) {
        if (daemon_ > 0) {
            ::kill(daemon_, signal);
            ::waitpid(daemon_, nullptr, 0);
            daemon_ = -1;
        }
    }
    int restore() {
        const pid_t child = spawn({"--restore"});
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static std::string primaryGroup() {
        const group* entry = ::getgrgid(::getgid());
        return entry != nullptr ? entry->gr_name : "root";
    }

    // How long `condition` took to hold, or nothing after `limit`.
    static std::optional<std::chrono::steady_clock::duration>
    waitFor(const std::function<bool()>& condition, std::chrono::steady_clock::duration limit) {
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - start < limit) {
            if (condition()) {
                return std::chrono::steady_clock::now() - start;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return std::nullopt;
    }

private:
    ScratchDirectory scratch_;
    pid_t daemon_ = -1;
};

// A connected client; every reply is waited for at most two seconds.
inline int connectTo(const std::filesystem::path& path) {
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const timeval timeout{2, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

inline std::optional<DaemonReplyFrame> ask(int fd, const std::string& frame) {
    if (::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) < 0) {
        return std::nullopt;
    }
    std::string buffer(kDaemonFrameLimit, '\0');
    const ssize_t length = ::recv(fd, buffer.data(), buffer.size(), 0);
    if (length <= 0) {
        return std::nullopt;
    }
    buffer.resize(static_cast<std::size_t>(length));
    return decodeReplyFrame(buffer);
}

} // namespace windlark
