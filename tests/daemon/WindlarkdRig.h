#pragma once

// The real windlarkd over a machine from tests/fixtures/hwmon, mocked by umockdev: the
// daemon runs under umockdev's preload, so what it sees under /sys is the testbed, while
// the test reads and writes the testbed's files directly. Runs without root; the daemon
// is told which group may use its socket.

#include "daemon/DaemonFrame.h"
#include "fakes/ScratchDirectory.h"
#include "platform/hwmon/UmockdevTestbed.h"

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

// The desktop fixture's first fan: an nct6798 channel in the chip's curve mode 5.
inline const std::string fanId = "nct6798@/sys/devices/platform/nct6775.656#fan1";

class DaemonRig {
public:
    // `chip`: the hwmon directory get() and put() address, relative to /sys.
    explicit DaemonRig(const std::string& fixture = "desktop",
                       std::string chip = "class/hwmon/hwmon3")
        : chip_(std::move(chip)) {
        // Other users must reach the socket for the access check to be the one refusing.
        std::filesystem::permissions(scratch_.path(), std::filesystem::perms::others_exec,
                                     std::filesystem::perm_options::add);
        std::filesystem::create_directories(scratch_.path() / "run");
        std::filesystem::create_directories(scratch_.path() / "state");
        testbed_.add(hwmonFixture(fixture));
        if (fixture == "desktop") {
            put("fan1_input", "1250"); // the speed a lease of 1250 RPM asks for
            calibrate(fanId);
        }
    }
    ~DaemonRig() { stop(SIGKILL); }

    UmockdevTestbed& testbed() { return testbed_; }
    std::filesystem::path socketPath() const { return scratch_.path() / "windlark.sock"; }
    std::filesystem::path savedFile() const { return scratch_.path() / "run/saved.json"; }

    // An attribute of the rig's chip, or with a leading '/' any file under /sys.
    void put(const std::string& name, const std::string& value) const {
        std::filesystem::create_directories(sysPath(name).parent_path());
        std::ofstream(sysPath(name)) << value << '\n';
    }
    std::string get(const std::string& name) const {
        std::string value;
        std::ifstream(sysPath(name)) >> value;
        return value;
    }
    bool isOriginal() const { return get("pwm1_enable") == "5" && get("pwm1") == "102"; }

    // `fan` measured with a typical map, or no fan measured when it is empty.
    void calibrate(const std::string& fan) const {
        std::ofstream(scratch_.path() / "state/calibration.json")
            << R"({"fans": {)"
            << (fan.empty() ? ""
                            : '"' + fan +
                                  R"(": [[0, 0], [40, 0], [60, 500], [128, 1000], )"
                                  "[255, 2000]]")
            << "}}";
    }
    // Faults for the fault-injecting build: "<attribute> <fault>" lines.
    void setFaults(const std::string& lines) const {
        std::ofstream(scratch_.path() / "faults") << lines;
    }
    // What the daemon logged, and what the fault-injecting build wrote ("<attribute>
    // <value>" lines, in order).
    std::string log() const { return scratchFile("daemon.log"); }
    std::string writes() const { return scratchFile("writes"); }

    // Runs windlarkd; without `option` (--restore) it serves until stopped.
    pid_t spawn(const std::string& group, const char* option = nullptr) {
        const pid_t child = ::fork();
        if (child != 0) {
            return child;
        }
        const int log =
            ::open((scratch_.path() / "daemon.log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ::dup2(log, 2);
        if (readsPlainFiles_) {
            ::setenv("WINDLARKD_SYSFS_ROOT", testbed_.sysDirectory().c_str(), 1);
        } else {
            // umockdev_testbed_new() told the environment where the testbed lives.
            ::setenv("LD_PRELOAD", "libumockdev-preload.so.0", 1);
        }
        // Under AddressSanitizer the preload comes first, which it would otherwise refuse.
        const char* asan = std::getenv("ASAN_OPTIONS");
        ::setenv(
            "ASAN_OPTIONS",
            ((asan != nullptr ? std::string(asan) + ":" : "") + "verify_asan_link_order=0").c_str(),
            1);
        ::setenv("WINDLARKD_RUNTIME_DIRECTORY", (scratch_.path() / "run").c_str(), 1);
        ::setenv("WINDLARKD_STATE_DIRECTORY", (scratch_.path() / "state").c_str(), 1);
        ::setenv("WINDLARKD_FAULTS", (scratch_.path() / "faults").c_str(), 1);
        ::setenv("WINDLARKD_WRITE_LOG", (scratch_.path() / "writes").c_str(), 1);
        const char* executable =
            withFaults_ ? WINDLARKD_WITH_FAULTS_EXECUTABLE : WINDLARKD_EXECUTABLE;
        const std::string socket = socketPath().string();
        std::vector<const char*> arguments{executable, "--socket",    socket.c_str(),
                                           "--group",  group.c_str(), option};
        if (systemBus.empty()) {
            arguments.insert(arguments.begin() + 1, "--no-logind");
        } else {
            ::setenv("DBUS_SYSTEM_BUS_ADDRESS", systemBus.c_str(), 1);
        }
        arguments.push_back(nullptr); // after the option's, which may end the list already
        ::execv(executable, const_cast<char* const*>(arguments.data()));
        ::_exit(127);
    }
    // True once the daemon listens.
    [[nodiscard]] bool start(const std::string& group = primaryGroup(), bool withFaults = false) {
        withFaults_ = withFaults;
        std::filesystem::remove(socketPath());
        daemon_ = spawn(group);
        return waitFor([this] { return std::filesystem::exists(socketPath()); },
                       std::chrono::seconds(5))
            .has_value();
    }
    // The daemon reads the testbed's files as a tree of its own instead of through
    // umockdev's preload, which costs a path translation on every open: for timing the
    // daemon's own work.
    void readPlainFiles() { readsPlainFiles_ = true; }
    // The bus of the logind the daemon talks to; without one it holds no sleep inhibitor.
    std::string systemBus;
    void stop(int signal) {
        if (daemon_ > 0) {
            ::kill(daemon_, signal);
            ::waitpid(daemon_, nullptr, 0);
            daemon_ = -1;
        }
    }
    int restore() {
        int status = 0;
        ::waitpid(spawn(primaryGroup(), "--restore"), &status, 0);
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
    std::filesystem::path sysPath(const std::string& name) const {
        return testbed_.sysDirectory() /
               (name.starts_with('/') ? name.substr(1) : chip_ + "/" + name);
    }
    std::string scratchFile(const std::string& name) const {
        std::stringstream text;
        text << std::ifstream(scratch_.path() / name).rdbuf();
        return text.str();
    }

    ScratchDirectory scratch_;
    UmockdevTestbed testbed_;
    std::string chip_;
    pid_t daemon_ = -1;
    bool withFaults_ = false;
    bool readsPlainFiles_ = false;
};

// A connected client; every reply is waited for at most `seconds`.
inline int connectTo(const std::filesystem::path& path, long seconds = 2) {
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const timeval timeout{seconds, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// The next frame the daemon sends: a reply, or an event it sends unasked.
inline std::optional<DaemonReplyFrame> receive(int fd) {
    std::string buffer(kDaemonFrameLimit, '\0');
    const ssize_t length = ::recv(fd, buffer.data(), buffer.size(), 0);
    if (length <= 0) {
        return std::nullopt;
    }
    buffer.resize(static_cast<std::size_t>(length));
    return decodeReplyFrame(buffer);
}

inline std::optional<DaemonReplyFrame> ask(int fd, const std::string& frame) {
    if (::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) < 0) {
        return std::nullopt;
    }
    return receive(fd);
}

} // namespace windlark
