#pragma once

#include "helper/HelperConnection.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace windlark {

// A scripted helper transport. Each operation answers according to its script: at once
// (a reply or a transport failure), from another thread after a delay, or never (the
// handler is then kept so a test can deliver the reply whenever it likes, e.g. after the
// client gave up).
class FakeHelperConnector final : public HelperConnector {
public:
    enum class Operation { readStatus, resetToSystem, holdManualTargetLease };

    struct Script {
        enum class Kind { now, later, hang } kind = Kind::hang;
        HelperReply reply = PropertyDictionary{};
        std::chrono::milliseconds delay{0};

        static Script now(PropertyDictionary reply) { return {Kind::now, std::move(reply)}; }
        static Script later(PropertyDictionary reply, std::chrono::milliseconds delay) {
            return {Kind::later, std::move(reply), delay};
        }
        static Script hang() { return {}; }
        static Script fail(std::string error) {
            return {Kind::now, HelperReply::failure(std::move(error))};
        }
    };

    Script statusScript, resetScript, leaseScript;
    std::optional<std::string> openError; // when set, no session opens

    HelperSessionOpening openSession() override {
        if (openError) {
            return {nullptr, openError};
        }
        return {std::make_unique<Session>(*this), std::nullopt};
    }

    std::vector<Operation> operations() const {
        const std::lock_guard lock(mutex_);
        return operations_;
    }
    std::vector<PropertyDictionary> leaseRequests() const {
        const std::lock_guard lock(mutex_);
        return leaseRequests_;
    }
    int sessionsClosed() const {
        const std::lock_guard lock(mutex_);
        return sessionsClosed_;
    }
    // Delivers `reply` to every request that hung, as a helper answering late would.
    void deliverHeldReplies(const PropertyDictionary& reply) {
        std::vector<HelperReplyHandler> handlers;
        {
            const std::lock_guard lock(mutex_);
            handlers.swap(held_);
        }
        for (HelperReplyHandler& handler : handlers) {
            handler(reply);
        }
    }

private:
    struct Session final : HelperSession {
        explicit Session(FakeHelperConnector& connector)
            : owner(connector) {}
        ~Session() override {
            const std::lock_guard lock(owner.mutex_);
            ++owner.sessionsClosed_;
        }
        void readStatus(HelperReplyHandler reply) override {
            owner.handle(Operation::readStatus, owner.statusScript, std::move(reply));
        }
        void resetToSystem(HelperReplyHandler reply) override {
            owner.handle(Operation::resetToSystem, owner.resetScript, std::move(reply));
        }
        void holdManualTargetLease(const PropertyDictionary& request,
                                   HelperReplyHandler reply) override {
            {
                const std::lock_guard lock(owner.mutex_);
                owner.leaseRequests_.push_back(request);
            }
            owner.handle(Operation::holdManualTargetLease, owner.leaseScript, std::move(reply));
        }
        FakeHelperConnector& owner;
    };

    void handle(Operation operation, const Script& script, HelperReplyHandler reply) {
        std::unique_lock lock(mutex_);
        operations_.push_back(operation);
        if (script.kind == Script::Kind::hang) {
            held_.push_back(std::move(reply));
        } else if (script.kind == Script::Kind::later) {
            threads_.emplace_back([reply = std::move(reply), script] {
                std::this_thread::sleep_for(script.delay);
                reply(script.reply);
            });
        } else {
            lock.unlock();
            reply(script.reply);
        }
    }

    mutable std::mutex mutex_;
    std::vector<Operation> operations_;
    std::vector<PropertyDictionary> leaseRequests_;
    std::vector<HelperReplyHandler> held_;
    int sessionsClosed_ = 0;
    std::vector<std::jthread> threads_; // last: joined before anything else goes
};

} // namespace windlark
