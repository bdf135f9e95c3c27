#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace windlark {

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the interface thread, so that a
// service manager's stop or a closed terminal quits through the same path as the Quit
// item and hands the fan back. The handler only writes the signal's number into a pipe;
// everything else happens when the event loop reads it.
//
// One instance at a time; its destruction restores the default dispositions.
class TerminationSignals final : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    // False when the pipe or a handler could not be set up; the signals then keep their
    // default action.
    [[nodiscard]] bool isInstalled() const { return notifier_ != nullptr; }

signals:
    void received(int signalNumber);

private:
    void drain();

    int readEnd_ = -1;
    int writeEnd_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace windlark
