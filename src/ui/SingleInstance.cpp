#include "ui/SingleInstance.h"

#include <QDir>
#include <QLocalSocket>
#include <unistd.h>

namespace windlark {
namespace {

constexpr QByteArrayView kShowRequest = "show\n";
// A primary still starting up may not listen yet; a secondary waits this long for it.
constexpr int kConnectAttempts = 20;
constexpr int kConnectTimeoutMilliseconds = 100;
constexpr int kWriteTimeoutMilliseconds = 1000;

QString baseName() {
    // The user id keeps users apart where the folder is shared (the temporary folder).
    return QStringLiteral("windlark-mac-%1").arg(::getuid());
}

} // namespace

SingleInstance::SingleInstance(QString directory, QObject* parent)
    : QObject(parent)
    , socketPath_(QDir(directory).filePath(baseName() + QStringLiteral(".socket")))
    , lock_(QDir(directory).filePath(baseName() + QStringLiteral(".lock"))) {
    // A lock whose owner died is taken over at once (QLockFile checks the process id).
    lock_.setStaleLockTime(0);
}

SingleInstance::~SingleInstance() {
    if (server_) {
        server_->close();
    }
}

QString SingleInstance::defaultDirectory() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir(runtime).exists()) {
        return runtime;
    }
    return QDir::tempPath();
}

SingleInstance::Role SingleInstance::claim() {
    if (lock_.tryLock(0)) {
        server_ = std::make_unique<QLocalServer>();
        server_->setSocketOptions(QLocalServer::UserAccessOption);
        // Holding the lock, any socket file left is a dead primary's.
        QLocalServer::removeServer(socketPath_);
        if (server_->listen(socketPath_)) {
            connect(server_.get(), &QLocalServer::newConnection, this,
                    &SingleInstance::acceptConnections);
        }
        // Without a socket the application still runs; later starts just cannot reach it.
        return Role::primary;
    }
    for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
        QLocalSocket socket;
        socket.connectToServer(socketPath_);
        if (socket.waitForConnected(kConnectTimeoutMilliseconds)) {
            socket.write(kShowRequest.data(), kShowRequest.size());
            socket.waitForBytesWritten(kWriteTimeoutMilliseconds);
            socket.disconnectFromServer();
            break;
        }
        ::usleep(static_cast<useconds_t>(kConnectTimeoutMilliseconds) * 1000U);
    }
    return Role::secondary;
}

void SingleInstance::acceptConnections() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            // Only a show request is understood; anything else is dropped.
            if (socket->bytesAvailable() < kShowRequest.size()) {
                return;
            }
            const QByteArray request = socket->read(kShowRequest.size());
            if (request == kShowRequest.toByteArray()) {
                emit showRequested();
            }
            socket->disconnectFromServer();
        });
    }
}

} // namespace windlark
