#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>
#include <memory>

namespace windlark {

// One application per user session: two would fight each other for the fan. The first
// start holds a lock file and listens on a local socket beside it; a later start finds
// the lock taken, asks the first to show its panel and leaves.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    enum class Role {
        primary,   // this process runs the application
        secondary, // another one does; it was asked to show itself
    };

    // `directory` holds the lock and the socket: the user's runtime folder by default.
    explicit SingleInstance(QString directory = defaultDirectory(), QObject* parent = nullptr);
    ~SingleInstance() override;
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    // Decides once. A primary keeps the lock and serves show requests until destroyed.
    [[nodiscard]] Role claim();

    // $XDG_RUNTIME_DIR when set (private to the user), else the temporary folder.
    [[nodiscard]] static QString defaultDirectory();

signals:
    void showRequested();

private:
    void acceptConnections();

    QString socketPath_;
    QLockFile lock_;
    std::unique_ptr<QLocalServer> server_;
};

} // namespace windlark
