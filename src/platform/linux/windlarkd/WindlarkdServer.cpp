#include "platform/linux/windlarkd/WindlarkdServer.h"

#include "daemon/FanLeaseDaemon.h"
#include "platform/linux/windlarkd/LinuxSysfs.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <grp.h>
#include <iostream>
#include <map>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-login.h>
#include <unistd.h>
#include <vector>

namespace windlark {
namespace {

constexpr std::size_t kMaximumClients = 16;

MonotonicTime bootTime() {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

void printLog(FanLeaseDaemon& daemon) {
    for (const std::string& line : daemon.takeLog()) {
        std::cerr << "windlarkd: " << line << '\n';
    }
}

std::optional<gid_t> groupId(const std::string& name) {
    std::vector<char> buffer(16384);
    group entry{};
    group* found = nullptr;
    if (::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr) {
        return std::nullopt;
    }
    return found->gr_gid;
}

// Root, a member of the daemon's group, or someone sitting at the machine: a user of an
// active local session.
bool isPermittedPeer(int fd, std::optional<gid_t> allowedGroup) {
    ucred peer{};
    socklen_t length = sizeof peer;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        return false;
    }
    if (peer.uid == 0) {
        return true;
    }
    if (allowedGroup) {
        if (peer.gid == *allowedGroup) {
            return true;
        }
#ifdef SO_PEERGROUPS
        std::vector<gid_t> groups(256);
        socklen_t size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
            groups.resize(size / sizeof(gid_t));
            for (const gid_t member : groups) {
                if (member == *allowedGroup) {
                    return true;
                }
            }
        }
#endif
    }
    char** sessions = nullptr;
    const int count = sd_uid_get_sessions(peer.uid, 1, &sessions);
    bool isLocal = false;
    for (int index = 0; index < count && sessions != nullptr; ++index) {
        isLocal = isLocal || (sd_session_is_remote(sessions[index]) == 0 &&
                              sd_session_is_active(sessions[index]) > 0);
        std::free(sessions[index]);
    }
    std::free(static_cast<void*>(sessions));
    return isLocal;
}

int listeningSocket(const std::filesystem::path& path) {
    // Started by the socket unit: it hands over the socket already bound.
    if (sd_listen_fds(1) == 1) {
        const int fd = SD_LISTEN_FDS_START;
        (void)::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
        return fd;
    }
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return -1;
    }
    // Bound and listening under a temporary name first, then renamed into place: a
    // client that sees the path can connect at once.
    const std::filesystem::path temporary = path.string() + ".new";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (temporary.string().size() >= sizeof address.sun_path) {
        (void)::close(fd);
        return -1;
    }
    std::strncpy(address.sun_path, temporary.c_str(), sizeof address.sun_path - 1);
    (void)::unlink(temporary.c_str());
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::chmod(temporary.c_str(), 0666) != 0 ||
        ::listen(fd, static_cast<int>(kMaximumClients)) != 0 ||
        ::rename(temporary.c_str(), path.c_str()) != 0) {
        (void)::close(fd);
        (void)::unlink(temporary.c_str());
        return -1;
    }
    return fd;
}

// The logind "delay" sleep inhibitor: logind waits (up to its InhibitDelayMaxSec) for us
// to close it, and we close it once every fan is back.
class SleepGuard {
public:
    explicit SleepGuard(FanLeaseDaemon& daemon)
        : daemon_(daemon) {}
    ~SleepGuard() {
        release();
        if (bus_ != nullptr) {
            sd_bus_slot_unref(slot_);
            sd_bus_flush_close_unref(bus_);
        }
    }
    SleepGuard(const SleepGuard&) = delete;
    SleepGuard& operator=(const SleepGuard&) = delete;

    bool start() {
        if (sd_bus_open_system(&bus_) < 0) {
            bus_ = nullptr;
            return false;
        }
        if (sd_bus_match_signal(bus_, &slot_, "org.freedesktop.login1", "/org/freedesktop/login1",
                                "org.freedesktop.login1.Manager", "PrepareForSleep",
                                &SleepGuard::onPrepareForSleep, this) < 0) {
            return false;
        }
        take();
        return true;
    }

    [[nodiscard]] int fd() const { return bus_ != nullptr ? sd_bus_get_fd(bus_) : -1; }
    void process() {
        while (bus_ != nullptr && sd_bus_process(bus_, nullptr) > 0) {
        }
    }

private:
    void take() {
        // Zeroed as SD_BUS_ERROR_NULL would, without its C compound literal.
        sd_bus_error error{};
        sd_bus_message* reply = nullptr;
        int fd = -1;
        if (sd_bus_call_method(bus_, "org.freedesktop.login1", "/org/freedesktop/login1",
                               "org.freedesktop.login1.Manager", "Inhibit", &error, &reply, "ssss",
                               "sleep", "windlarkd", "Hand the fans back before sleeping",
                               "delay") >= 0 &&
            sd_bus_message_read(reply, "h", &fd) >= 0) {
            // The reply owns its descriptor; keep a copy of our own.
            inhibitor_ = ::fcntl(fd, F_DUPFD_CLOEXEC, 3);
        } else {
            std::cerr << "windlarkd: no sleep inhibitor: "
                      << (error.message != nullptr ? error.message : "no reply") << '\n';
        }
        sd_bus_error_free(&error);
        sd_bus_message_unref(reply);
    }

    void release() {
        if (inhibitor_ >= 0) {
            (void)::close(inhibitor_);
            inhibitor_ = -1;
        }
    }

    static int onPrepareForSleep(sd_bus_message* message, void* context, sd_bus_error*) {
        auto* self = static_cast<SleepGuard*>(context);
        int isSleeping = 0;
        if (sd_bus_message_read(message, "b", &isSleeping) < 0) {
            return 0;
        }
        (void)self->daemon_.prepareForSleep(isSleeping != 0);
        printLog(self->daemon_);
        if (isSleeping != 0) {
            self->release();
        } else {
            // After resume the app's next renewal takes the fans again.
            self->take();
        }
        return 0;
    }

    FanLeaseDaemon& daemon_;
    sd_bus* bus_ = nullptr;
    sd_bus_slot* slot_ = nullptr;
    int inhibitor_ = -1;
};

struct Client {
    DaemonClientId id = 0;
    bool isPermitted = false;
};

class Server {
public:
    Server(const WindlarkdOptions& options, FanLeaseDaemon& daemon)
        : options_(options)
        , daemon_(daemon)
        , allowedGroup_(groupId(options.group)) {}

    int run() {
        listen_ = listeningSocket(options_.socketPath);
        if (listen_ < 0) {
            std::cerr << "windlarkd: cannot listen on " << options_.socketPath << ": "
                      << std::strerror(errno) << '\n';
            return 2;
        }
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        (void)::sigprocmask(SIG_BLOCK, &signals, nullptr);
        (void)::signal(SIGPIPE, SIG_IGN);
        const int signalFd = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
        // CLOCK_BOOTTIME keeps counting through suspend, so a lease cannot survive a sleep
        // by the clock having stopped.
        const int timerFd = ::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK);
        const itimerspec everySecond{{1, 0}, {1, 0}};
        (void)::timerfd_settime(timerFd, 0, &everySecond, nullptr);

        SleepGuard sleepGuard(daemon_);
        if (options_.useLogind && !sleepGuard.start()) {
            std::cerr << "windlarkd: no system bus; fans are not handed back before sleep\n";
        }
        (void)sd_notify(0, "READY=1");

        bool isRunning = true;
        while (isRunning) {
            std::vector<pollfd> fds{{listen_, POLLIN, 0},
                                    {signalFd, POLLIN, 0},
                                    {timerFd, POLLIN, 0},
                                    {sleepGuard.fd(), POLLIN, 0}};
            for (const auto& [fd, client] : clients_) {
                fds.push_back({fd, POLLIN, 0});
            }
            if (::poll(fds.data(), fds.size(), 1000) < 0 && errno != EINTR) {
                break;
            }
            if ((fds[1].revents & POLLIN) != 0) {
                signalfd_siginfo info{};
                while (::read(signalFd, &info, sizeof info) == sizeof info) {
                    isRunning = false;
                }
            }
            if ((fds[2].revents & POLLIN) != 0) {
                std::uint64_t expirations = 0;
                (void)::read(timerFd, &expirations, sizeof expirations);
                daemon_.tick(bootTime());
                (void)sd_notify(0, "WATCHDOG=1");
            }
            sleepGuard.process();
            for (std::size_t index = 4; index < fds.size(); ++index) {
                if (fds[index].revents != 0) {
                    serve(fds[index].fd);
                }
            }
            if ((fds[0].revents & POLLIN) != 0) {
                accept();
            }
            flush();
        }
        (void)sd_notify(0, "STOPPING=1");
        const bool isRestored = daemon_.handBackAll(LeaseEnd::shutdown);
        printLog(daemon_);
        for (const auto& [fd, client] : clients_) {
            (void)::close(fd);
        }
        (void)::close(timerFd);
        (void)::close(signalFd);
        return isRestored ? 0 : 1;
    }

private:
    void accept() {
        for (;;) {
            const int fd = ::accept4(listen_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd < 0) {
                return;
            }
            if (clients_.size() >= kMaximumClients) {
                (void)::close(fd);
                continue;
            }
            clients_[fd] = Client{++lastClientId_, isPermittedPeer(fd, allowedGroup_)};
        }
    }

    void serve(int fd) {
        // One byte more than a frame may have, and MSG_TRUNC for the real length: a
        // datagram socket drops whatever does not fit instead of keeping it for later.
        std::string buffer(kDaemonFrameLimit + 1, '\0');
        const ssize_t length = ::recv(fd, buffer.data(), buffer.size(), MSG_TRUNC | MSG_DONTWAIT);
        if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        }
        if (length <= 0) {
            close(fd);
            return;
        }
        buffer.resize(std::min(buffer.size(), static_cast<std::size_t>(length)));
        const Client client = clients_.at(fd);
        const auto outcome = daemon_.handleFrame(client.id, client.isPermitted, buffer, bootTime());
        if (outcome.reply && !send(fd, *outcome.reply)) {
            close(fd);
            return;
        }
        if (outcome.closeClient) {
            close(fd);
        }
    }

    bool send(int fd, const std::string& frame) {
        // A client that does not read its replies loses its connection, not our time.
        return ::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
               static_cast<ssize_t>(frame.size());
    }

    void close(int fd) {
        const auto found = clients_.find(fd);
        if (found == clients_.end()) {
            return;
        }
        const DaemonClientId id = found->second.id;
        clients_.erase(found);
        (void)::close(fd);
        daemon_.clientClosed(id);
    }

    void flush() {
        for (const auto& [id, frame] : daemon_.takeEvents()) {
            for (const auto& [fd, client] : clients_) {
                if (client.id == id) {
                    (void)send(fd, frame);
                }
            }
        }
        printLog(daemon_);
    }

    const WindlarkdOptions& options_;
    FanLeaseDaemon& daemon_;
    std::optional<gid_t> allowedGroup_;
    int listen_ = -1;
    std::map<int, Client> clients_;
    DaemonClientId lastClientId_ = 0;
};

FanLeaseDaemonConfiguration configuration(const WindlarkdOptions& options) {
    FanLeaseDaemonConfiguration result;
    result.group = options.group;
    result.privilege = ::geteuid() == 0 ? "root" : "unprivileged";
    return result;
}

} // namespace

int runWindlarkd(const WindlarkdOptions& options, SysfsAccess& sysfs) {
    AtomicFileStore saved(options.savedFile());
    AtomicFileStore calibration(options.calibrationFile(), 0644);
    FanLeaseDaemon daemon(sysfs, saved, discoverFans(options.sysfsRoot, options.calibrationFile()),
                          configuration(options), &calibration);
    // A daemon that died mid-lease left its fans' state behind: put it back first.
    (void)daemon.restoreLeftovers();
    for (const DaemonFan& fan : daemon.fans()) {
        std::cerr << "windlarkd: " << fan.id
                  << (fan.profile.isWritable ? (fan.range ? "" : ": not calibrated")
                                             : ": read-only: " + fan.profile.readOnlyReason)
                  << '\n';
    }
    printLog(daemon);
    Server server(options, daemon);
    return server.run();
}

int restoreLeftoverFans(const WindlarkdOptions& options, SysfsAccess& sysfs) {
    AtomicFileStore saved(options.savedFile());
    FanLeaseDaemon daemon(sysfs, saved, discoverFans(options.sysfsRoot, options.calibrationFile()),
                          configuration(options));
    const bool isRestored = daemon.restoreLeftovers();
    printLog(daemon);
    return isRestored ? 0 : 1;
}

} // namespace windlark
