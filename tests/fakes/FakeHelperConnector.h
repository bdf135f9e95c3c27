#pragma once

#include "helper/HelperConnection.h"

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace windlark {

// A scripted helper transport. Each operation answers according to its script: at once,
// from another thread after a delay, with a transport failure, or never (the handler is
// then kept so a test can deliver the reply whenever it likes, e.g. after the client gave
// up).
class FakeHelperConnector final : public HelperConnector {
public:
    enum class Operation { readStatus, resetToSystem, holdManualTargetLease };

    struct Script {
        enum class Kind { reply, replyLater, hang, fail } kind = Kind::reply;
        PropertyDictionary reply;
        std::chrono::milliseconds delay{0};
        std::string error;

        static Script now(PropertyDictionary dictionary) {
            return {Kind::reply, std::move(dictionary), {}, {}};
        }
        static Script later(PropertyDictionary dictionary, std::chrono::milliseconds delay) {
            return {Kind::replyLater, std::move(dictionary), delay, {}};
        }
        static Script hang() { return {Kind::hang, {}, {}, {}}; }
        static Script fail(std::string error) { return {Kind::fail, {}, {}, std::move(error)}; }
    };

    struct Call {
        Operation operation;
        std::optional<PropertyDictionary> request;
    };

    Script statusScript = Script::hang();
    Script resetScript = Script::hang();
    Script leaseScript = Script::hang();
    std::optional<std::string> openError; // when set, no session opens

    ~FakeHelperConnector() override {
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    HelperSessionOpening openSession() override {
        const std::lock_guard lock(mutex_);
        if (openError) {
            return {nullptr, openError};
        }
        return {std::make_unique<Session>(*this), std::nullopt};
    }

    std::vector<Call> calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    int sessionsClosed() const {
        const std::lock_guard lock(mutex_);
        return sessionsClosed_;
    }
    // Delivers `reply` to every request that hung, as a helper answering late would.
    void deliverHeldReplies(const PropertyDictionary& reply) {
        std::deque<HelperReplyHandler> handlers;
        {
            const std::lock_guard lock(mutex_);
            handlers.swap(held_);
        }
        for (HelperReplyHandler& handler : handlers) {
            handler(reply);
        }
    }

private:
    class Session final : public HelperSession {
    public:
        explicit Session(FakeHelperConnector& owner)
            : owner_(owner) {}
        ~Session() override {
            const std::lock_guard lock(owner_.mutex_);
            ++owner_.sessionsClosed_;
        }
        void readStatus(HelperReplyHandler reply) override {
            owner_.handle({Operation::readStatus, std::nullopt}, owner_.statusScript,
                          std::move(reply));
        }
        void resetToSystem(HelperReplyHandler reply) override {
            owner_.handle({Operation::resetToSystem, std::nullopt}, owner_.resetScript,
                          std::move(reply));
        }
        void holdManualTargetLease(const PropertyDictionary& request,
                                   HelperReplyHandler reply) override {
            owner_.handle({Operation::holdManualTargetLease, request}, owner_.leaseScript,
                          std::move(reply));
        }

    private:
        FakeHelperConnector& owner_;
    };

    void handle(Call call, const Script& script, HelperReplyHandler reply) {
        {
            const std::lock_guard lock(mutex_);
            calls_.push_back(std::move(call));
        }
        switch (script.kind) {
        case Script::Kind::reply:
            reply(script.reply);
            break;
        case Script::Kind::replyLater: {
            const std::lock_guard lock(mutex_);
            threads_.emplace_back([reply = std::move(reply), script] {
                std::this_thread::sleep_for(script.delay);
                reply(script.reply);
            });
            break;
        }
        case Script::Kind::fail:
            reply(HelperReply::failure(script.error));
            break;
        case Script::Kind::hang: {
            const std::lock_guard lock(mutex_);
            held_.push_back(std::move(reply));
            break;
        }
        }
    }

    mutable std::mutex mutex_;
    std::vector<Call> calls_;
    std::deque<HelperReplyHandler> held_;
    std::vector<std::thread> threads_;
    int sessionsClosed_ = 0;
};

} // namespace windlark
