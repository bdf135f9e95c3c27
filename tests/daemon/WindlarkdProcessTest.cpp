// The real windlarkd over a scratch sysfs tree: whatever happens to the app or to the
// daemon, the fans must end up as they were. Runs without root: the tree is plain files
// and the daemon is told which group may use its socket.

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
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace windlark {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::string fanId = "nct6798@/sys/devices/platform/nct6775.656#fan1";

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
    void start(const std::string& group = primaryGroup()) {
        std::filesystem::remove(socketPath());
        daemon_ = spawn({}, group);
        ASSERT_TRUE(waitFor([this] { return std::filesystem::exists(socketPath()); }, 2s));
    }
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
    static std::optional<Clock::duration> waitFor(const std::function<bool()>& condition,
                                                  Clock::duration limit) {
        const auto start = Clock::now();
        while (Clock::now() - start < limit) {
            if (condition()) {
                return Clock::now() - start;
            }
            std::this_thread::sleep_for(5ms);
        }
        return std::nullopt;
    }

private:
    ScratchDirectory scratch_;
    pid_t daemon_ = -1;
};

// A connected client; every reply is waited for at most two seconds.
int connectTo(const std::filesystem::path& path) {
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

std::optional<DaemonReplyFrame> ask(int fd, const std::string& frame) {
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

std::string lease(double target, std::int64_t hold) {
    return encodeRequestFrame({1, DaemonOperation::holdManualTargetLease,
                               WindlarkManualTargetLeaseRequest{0, target, hold, "test"}});
}

bool isAccepted(const std::optional<DaemonReplyFrame>& reply) {
    return reply && reply->reply.boolean("accepted").value_or(false);
}

// A separate app process that takes the lease, says so on `ready`, and then waits to die;
// `stop` says how.
void appTakingTheFans(const DaemonRig& rig, int signal, double& worstSeconds, int runs,
                      std::int64_t hold) {
    for (int run = 0; run < runs; ++run) {
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        const pid_t app = ::fork();
        if (app == 0) {
            const int fd = connectTo(rig.socketPath());
            const char held = isAccepted(ask(fd, lease(1250, hold))) ? 'y' : 'n';
            (void)::write(ready[1], &held, 1);
            ::pause();
            ::_exit(0);
        }
        char held = 'n';
        ASSERT_EQ(::read(ready[0], &held, 1), 1);
        ::close(ready[0]);
        ::close(ready[1]);
        ASSERT_EQ(held, 'y') << "run " << run;
        ASSERT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_EQ(rig.get("pwm1"), "160");
        ::kill(app, signal);
        const auto back = DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 20s);
        ::kill(app, SIGKILL);
        ::waitpid(app, nullptr, 0);
        ASSERT_TRUE(back) << "run " << run;
        worstSeconds = std::max(worstSeconds, std::chrono::duration<double>(*back).count());
    }
}

TEST(Windlarkd, AnAppThatIsKilledOrHangsGetsTheFansHandedBack) {
    DaemonRig rig;
    rig.start();
    double worstKill = 0.0;
    appTakingTheFans(rig, SIGKILL, worstKill, 20, 15);
    EXPECT_LT(worstKill, 1.0);
    std::cout << "[ measured ] SIGKILL to fans back, worst of 20: " << worstKill * 1000 << " ms\n";
    // A stopped app keeps its connection: only the lease's own end gives the fans back.
    double worstStop = 0.0;
    appTakingTheFans(rig, SIGSTOP, worstStop, 1, 2);
    EXPECT_GT(worstStop, 1.0);
    EXPECT_LT(worstStop, 3.0);
}

TEST(Windlarkd, ADaemonThatDiesLeavesEnoughToRestoreTheFans) {
    DaemonRig rig;
    rig.put("pwm1_enable", "5");
    for (const bool byFreshStart : {false, true}) {
        rig.start();
        const int fd = connectTo(rig.socketPath());
        ASSERT_TRUE(isAccepted(ask(fd, lease(1250, 15))));
        rig.stop(SIGKILL);
        ::close(fd);
        EXPECT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_TRUE(std::filesystem::exists(rig.savedFile()));
        const auto start = Clock::now();
        if (byFreshStart) {
            rig.start();
        } else {
            EXPECT_EQ(rig.restore(), 0);
        }
        EXPECT_LT(Clock::now() - start, 2s);
        EXPECT_TRUE(rig.isOriginal()) << byFreshStart;
        EXPECT_FALSE(std::filesystem::exists(rig.savedFile()));
        EXPECT_EQ(rig.restore(), 0); // again: nothing left, nothing done
        EXPECT_TRUE(rig.isOriginal());
        rig.stop(SIGTERM);
    }
}

TEST(Windlarkd, RefusesPeersOutsideItsGroupAndFramesOverTheLimit) {
    DaemonRig rig;
    rig.start();
    const int fd = connectTo(rig.socketPath());
    const std::string huge = R"({"id":1,"op":"readStatus","x":")" + std::string(65536, ' ') + "\"}";
    const auto refusal = ask(fd, huge);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->errorCode, "malformed");
    EXPECT_FALSE(ask(fd, R"({"id":2,"op":"readStatus"})")); // and the connection is gone
    ::close(fd);
    rig.stop(SIGTERM);

    if (::geteuid() != 0) {
        GTEST_SKIP() << "connecting as a user outside the group needs root";
    }
    rig.start("windlark-no-such-group");
    int result[2];
    ASSERT_EQ(::pipe(result), 0);
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(2);
        }
        const int peer = connectTo(rig.socketPath());
        const auto reply = ask(peer, R"({"id":1,"op":"readStatus"})");
        const char code = reply && reply->errorCode == "not-permitted" ? 'r' : 'a';
        (void)::write(result[1], &code, 1);
        ::_exit(0);
    }
    char code = '?';
    ASSERT_EQ(::read(result[0], &code, 1), 1);
    ::waitpid(stranger, nullptr, 0);
    ::close(result[0]);
    ::close(result[1]);
    EXPECT_EQ(code, 'r');
}

} // namespace
} // namespace windlark
