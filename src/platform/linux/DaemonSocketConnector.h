#pragma once

#include "daemon/DaemonFrame.h"
#include "helper/HelperConnection.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

namespace windlark {

// The app's end of windlarkd's socket. It keeps one connection for the app's whole life
// and sends every request over it: the daemon ties a lease to the connection, so a
// renewal on a new connection would find the fans given back and taken again, and a
// killed app must end its lease by its connection closing, within a second. Replies are
// matched to requests by id on a reader thread; a lost connection fails whatever waits
// and the next request connects again.
class DaemonSocketConnector final : public HelperConnector {
public:
    static constexpr const char* defaultSocketPath = "/run/windlark.sock";

    explicit DaemonSocketConnector(std::filesystem::path socketPath = defaultSocketPath);
    ~DaemonSocketConnector() override;
    DaemonSocketConnector(const DaemonSocketConnector&) = delete;
    DaemonSocketConnector& operator=(const DaemonSocketConnector&) = delete;

    [[nodiscard]] HelperSessionOpening openSession() override;
    [[nodiscard]] const std::filesystem::path& socketPath() const;

    // The user id of the process at the other end (SO_PEERCRED), connecting if needed.
    [[nodiscard]] std::optional<uid_t> peerUserId();
    // The last lease the daemon ended on its own ("stalled: ..."), if any since asked.
    [[nodiscard]] std::optional<std::string> takeLeaseEnd();
    // One request outside the helper contract's sessions (calibration), on the same
    // connection, so that the daemon knows the run is this app's to cancel.
    void send(DaemonOperation operation, HelperReplyHandler reply);

    struct Connection;

private:
    std::shared_ptr<Connection> connection_;
};

} // namespace windlark
