#include "platform/linux/DaemonSocketConnector.h"

#include "daemon/DaemonFrame.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace windlark {

struct DaemonSocketConnector::Connection {
    std::filesystem::path path;
    std::mutex mutex;
    int fd = -1;
    std::int64_t lastId = 0;
    std::map<std::int64_t, HelperReplyHandler> pending;
    std::optional<std::string> leaseEnd;
    std::atomic<bool> isStopping{false};
    std::thread reader;

    // Under `mutex`. Connecting to a Unix socket never waits on the network; a full
    // backlog answers EAGAIN at once because the socket does not block.
    std::optional<std::string> connectLocked() {
        if (fd >= 0) {
            return std::nullopt;
        }
        const int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (socket < 0) {
            return std::string("Could not create a socket: ") + std::strerror(errno);
        }
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            const int error = errno;
            (void)::close(socket);
            return "The fan daemon is not reachable at " + path.string() + ": " +
                   std::strerror(error);
        }
        fd = socket;
        if (!reader.joinable()) {
            reader = std::thread([this] { read(); });
        }
        return std::nullopt;
    }

    void send(DaemonOperation operation, std::optional<WindlarkManualTargetLeaseRequest> lease,
              HelperReplyHandler handler, std::vector<std::int64_t>& sessionIds) {
        std::unique_lock lock(mutex);
        if (auto error = connectLocked()) {
            lock.unlock();
            handler(HelperReply::failure(std::move(*error)));
            return;
        }
        const std::int64_t id = ++lastId;
        const std::string frame = encodeRequestFrame({id, operation, std::move(lease)});
        if (::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) !=
            static_cast<ssize_t>(frame.size())) {
            const int error = errno;
            lock.unlock();
            // The reader notices a dead connection by itself and reconnects next time.
            handler(HelperReply::failure(std::string("Could not send to the fan daemon: ") +
                                         std::strerror(error)));
            return;
        }
        pending[id] = std::move(handler);
        sessionIds.push_back(id);
    }

    void read() {
        std::string buffer(kDaemonFrameLimit, '\0');
        while (!isStopping) {
            int socket = -1;
            {
                const std::lock_guard lock(mutex);
                socket = fd;
            }
            if (socket < 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                continue;
            }
            pollfd entry{socket, POLLIN, 0};
            // Short, so that stopping never waits long.
            if (::poll(&entry, 1, 200) <= 0) {
                continue;
            }
            const ssize_t length = ::recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
                continue;
            }
            if (length <= 0) {
                lost();
                continue;
            }
            deliver(std::string_view(buffer.data(), static_cast<std::size_t>(length)));
        }
    }

    void deliver(std::string_view bytes) {
        const std::optional<DaemonReplyFrame> frame = decodeReplyFrame(bytes);
        if (!frame) {
            return;
        }
        HelperReplyHandler handler;
        {
            std::unique_lock lock(mutex);
            if (frame->kind == DaemonReplyFrame::Kind::event) {
                leaseEnd = frame->errorCode + ": " + frame->errorText;
                return;
            }
            // An error addressed to no request is about the connection itself (`not-permitted`
            // before the daemon hangs up): every waiting request gets it, so the user reads
            // why, not just that the connection closed.
            if (frame->kind == DaemonReplyFrame::Kind::error && !frame->id) {
                std::map<std::int64_t, HelperReplyHandler> waiting;
                waiting.swap(pending);
                lock.unlock();
                for (auto& [id, waiter] : waiting) {
                    waiter(HelperReply::failure(frame->errorCode + ": " + frame->errorText));
                }
                return;
            }
            const auto found = frame->id ? pending.find(*frame->id) : pending.end();
            if (found == pending.end()) {
                return; // an answer nobody waits for any more
            }
            handler = std::move(found->second);
            pending.erase(found);
        }
        if (frame->kind == DaemonReplyFrame::Kind::error) {
            handler(HelperReply::failure(frame->errorCode + ": " + frame->errorText));
        } else {
            handler(frame->reply);
        }
    }

    void lost() {
        std::map<std::int64_t, HelperReplyHandler> waiting;
        {
            const std::lock_guard lock(mutex);
            (void)::close(fd);
            fd = -1;
            waiting.swap(pending);
        }
        for (auto& [id, handler] : waiting) {
            handler(HelperReply::failure("The fan daemon closed the connection."));
        }
    }

    void forget(const std::vector<std::int64_t>& ids) {
        const std::lock_guard lock(mutex);
        for (const std::int64_t id : ids) {
            pending.erase(id);
        }
    }
};

namespace {

class DaemonSession final : public HelperSession {
public:
    explicit DaemonSession(std::shared_ptr<DaemonSocketConnector::Connection> connection)
        : connection_(std::move(connection)) {}
    // Only this session's waiting handlers go; the connection stays for the next one.
    ~DaemonSession() override { connection_->forget(ids_); }

    void readStatus(HelperReplyHandler reply) override {
        connection_->send(DaemonOperation::readStatus, std::nullopt, std::move(reply), ids_);
    }
    void resetToSystem(HelperReplyHandler reply) override {
        connection_->send(DaemonOperation::resetToSystem, std::nullopt, std::move(reply), ids_);
    }
    void holdManualTargetLease(const PropertyDictionary& request,
                               HelperReplyHandler reply) override {
        auto lease = WindlarkManualTargetLeaseRequest::fromDictionary(request);
        if (!lease) {
            reply(HelperReply::failure("The lease request is incomplete."));
            return;
        }
        connection_->send(DaemonOperation::holdManualTargetLease, std::move(lease),
                          std::move(reply), ids_);
    }

private:
    std::shared_ptr<DaemonSocketConnector::Connection> connection_;
    std::vector<std::int64_t> ids_;
};

} // namespace

DaemonSocketConnector::DaemonSocketConnector(std::filesystem::path socketPath)
    : connection_(std::make_shared<Connection>()) {
    connection_->path = std::move(socketPath);
}

const std::filesystem::path& DaemonSocketConnector::socketPath() const {
    return connection_->path; // set once, before any thread sees it
}

DaemonSocketConnector::~DaemonSocketConnector() {
    connection_->isStopping = true;
    if (connection_->reader.joinable()) {
        connection_->reader.join();
    }
    const std::lock_guard lock(connection_->mutex);
    if (connection_->fd >= 0) {
        (void)::close(connection_->fd);
        connection_->fd = -1;
    }
}

HelperSessionOpening DaemonSocketConnector::openSession() {
    {
        const std::lock_guard lock(connection_->mutex);
        if (auto error = connection_->connectLocked()) {
            return {nullptr, std::move(error)};
        }
    }
    return {std::make_unique<DaemonSession>(connection_), std::nullopt};
}

std::optional<uid_t> DaemonSocketConnector::peerUserId() {
    const std::lock_guard lock(connection_->mutex);
    if (connection_->connectLocked()) {
        return std::nullopt;
    }
    ucred peer{};
    socklen_t length = sizeof peer;
    if (::getsockopt(connection_->fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        return std::nullopt;
    }
    return peer.uid;
}

void DaemonSocketConnector::send(DaemonOperation operation, HelperReplyHandler reply) {
    // No session to forget it: a reply after the caller gave up finds a handler that
    // drops it.
    std::vector<std::int64_t> ids;
    connection_->send(operation, std::nullopt, std::move(reply), ids);
}

std::optional<std::string> DaemonSocketConnector::takeLeaseEnd() {
    const std::lock_guard lock(connection_->mutex);
    return std::exchange(connection_->leaseEnd, std::nullopt);
}

} // namespace windlark
