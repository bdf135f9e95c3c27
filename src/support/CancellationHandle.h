#pragma once

#include <functional>
#include <utility>

namespace windlark {

// The one owner of something that runs until it is cancelled: a repeating timer, a
// subscription to the store. Cancelling (or destroying the handle) ends it. Move-only, so
// exactly one owner decides when it ends, and an owner that goes away takes it along.
class CancellationHandle {
public:
    CancellationHandle() = default;
    explicit CancellationHandle(std::function<void()> cancel)
        : cancel_(std::move(cancel)) {}
    CancellationHandle(const CancellationHandle&) = delete;
    CancellationHandle& operator=(const CancellationHandle&) = delete;
    CancellationHandle(CancellationHandle&& other) noexcept
        : cancel_(std::exchange(other.cancel_, nullptr)) {}
    CancellationHandle& operator=(CancellationHandle&& other) noexcept {
        if (this != &other) {
            cancel();
            cancel_ = std::exchange(other.cancel_, nullptr);
        }
        return *this;
    }
    ~CancellationHandle() { cancel(); }

    // Safe to call more than once.
    void cancel() {
        if (auto cancel = std::exchange(cancel_, nullptr)) {
            cancel();
        }
    }
    [[nodiscard]] bool isActive() const { return cancel_ != nullptr; }

private:
    std::function<void()> cancel_;
};

} // namespace windlark
