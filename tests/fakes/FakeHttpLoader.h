#pragma once

#include "shell/HttpLoader.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace windlark {

// Answers every request with one canned result. With `holdRequests()`, each request
// waits inside `load` until `releaseRequests()`, so a test can act while a check is in
// flight.
class FakeHttpLoader final : public HttpLoader {
public:
    HttpLoadResult load(const std::string& url) override {
        std::unique_lock lock(mutex_);
        requestedURLs_.push_back(url);
        ++entered_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !isHolding_; });
        ++returned_;
        changed_.notify_all();
        return answer_;
    }

    void setAnswer(HttpLoadResult answer) {
        const std::scoped_lock lock(mutex_);
        answer_ = std::move(answer);
    }
    void holdRequests() {
        const std::scoped_lock lock(mutex_);
        isHolding_ = true;
    }
    void releaseRequests() {
        {
            const std::scoped_lock lock(mutex_);
            isHolding_ = false;
        }
        changed_.notify_all();
    }
    // Waits until `count` requests have entered (or returned from) `load`.
    bool waitUntilEntered(int count) { return waitFor(entered_, count); }
    bool waitUntilReturned(int count) { return waitFor(returned_, count); }

    [[nodiscard]] std::vector<std::string> requestedURLs() const {
        const std::scoped_lock lock(mutex_);
        return requestedURLs_;
    }

private:
    bool waitFor(const int& counter, int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return counter >= count; });
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    HttpLoadResult answer_ = HttpLoadResult::success("{}");
    std::vector<std::string> requestedURLs_;
    bool isHolding_ = false;
    int entered_ = 0;
    int returned_ = 0;
};

} // namespace windlark
