#include "ui/TerminationSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace windlark {
namespace {

constexpr std::array kHandledSignals{SIGTERM, SIGINT, SIGHUP};

// The handler may run on any thread at any moment; it only touches this descriptor,
// and write(2) is async-signal-safe.
std::atomic<int> gWriteEnd{-1};

extern "C" void writeSignalNumber(int signalNumber) {
    const int savedErrno = errno;
    const int descriptor = gWriteEnd.load(std::memory_order_relaxed);
    if (descriptor >= 0) {
        const auto byte = static_cast<unsigned char>(signalNumber);
        // A full pipe already holds a pending request to quit; losing this one is fine.
        [[maybe_unused]] const ssize_t written = ::write(descriptor, &byte, 1);
    }
    errno = savedErrno;
}

bool makeNonBlockingCloseOnExec(int descriptor) {
    const int statusFlags = ::fcntl(descriptor, F_GETFL);
    const int descriptorFlags = ::fcntl(descriptor, F_GETFD);
    return statusFlags >= 0 && descriptorFlags >= 0 &&
           ::fcntl(descriptor, F_SETFL, statusFlags | O_NONBLOCK) == 0 &&
           ::fcntl(descriptor, F_SETFD, descriptorFlags | FD_CLOEXEC) == 0;
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent)
    : QObject(parent) {
    std::array<int, 2> ends{-1, -1};
    if (gWriteEnd.load() >= 0 || ::pipe(ends.data()) != 0) {
        return;
    }
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
    if (!makeNonBlockingCloseOnExec(readEnd_) || !makeNonBlockingCloseOnExec(writeEnd_)) {
        return;
    }
    gWriteEnd.store(writeEnd_);
    struct sigaction action {};
    action.sa_handler = writeSignalNumber;
    sigemptyset(&action.sa_mask);
    // Restarted system calls keep a blocking helper request from failing with EINTR.
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : kHandledSignals) {
        if (::sigaction(signalNumber, &action, nullptr) != 0) {
            return;
        }
    }
    notifier_ = std::make_unique<QSocketNotifier>(readEnd_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &TerminationSignals::drain);
}

TerminationSignals::~TerminationSignals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    if (writeEnd_ >= 0 && gWriteEnd.load() == writeEnd_) {
        for (const int signalNumber : kHandledSignals) {
            ::sigaction(signalNumber, &action, nullptr);
        }
        gWriteEnd.store(-1);
    }
    notifier_.reset();
    for (const int descriptor : {readEnd_, writeEnd_}) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
}

void TerminationSignals::drain() {
    std::array<unsigned char, 16> bytes{};
    ssize_t count = 0;
    while ((count = ::read(readEnd_, bytes.data(), bytes.size())) > 0) {
        for (ssize_t i = 0; i < count; ++i) {
            emit received(bytes[static_cast<std::size_t>(i)]);
        }
    }
}

} // namespace windlark
