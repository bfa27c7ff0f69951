#pragma once

#include "foundation/Mutex.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace korvane {

/// Keeps a handler subscribed to a notice while it lives. May outlive the notice.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;

private:
    template <class... Payload>
    friend class Notice;
    explicit Subscription(std::shared_ptr<void> handler) : handler_(std::move(handler)) {}
    std::shared_ptr<void> handler_;
};

/// All subscriptions of one object, which end together.
using Subscriptions = std::vector<Subscription>;

/// Logs a posted notice. Any thread.
void logNotice(const char* name);

/// An event that its owner reports, with typed values. Handlers are called on the posting thread before
/// `post` returns, in the order of subscription; an owner to which windows subscribe posts on the main
/// thread.
///
/// Any thread. A handler may subscribe, end subscriptions (including its own), post, and destroy the owner of
/// the notice. A handler that another thread unsubscribes may still be running.
template <class... Payload>
class Notice {
public:
    using Handler = std::function<void(const Payload&...)>;

    /// `name` is logged, and must be a literal.
    explicit Notice(const char* name) : name_(name) {}
    Notice(const Notice&) = delete;
    Notice& operator=(const Notice&) = delete;

    Subscription subscribe(Handler handler) {
        auto added = std::make_shared<Handler>(std::move(handler));
        const MutexLock guard(mutex_);
        std::erase_if(handlers_, [](const auto& known) { return known.expired(); });
        handlers_.push_back(added);
        return Subscription(std::move(added));
    }

    void post(const Payload&... payload) {
        logNotice(name_);
        std::vector<std::weak_ptr<Handler>> handlers;
        {
            const MutexLock guard(mutex_);
            handlers = handlers_;
        }
        // Locked one at a time: a handler may unsubscribe later ones, which then are not called.
        for (const auto& known : handlers) {
            if (const auto handler = known.lock())
                (*handler)(payload...);
        }
    }

private:
    const char* const name_;
    Mutex mutex_;
    std::vector<std::weak_ptr<Handler>> handlers_ GUARDED_BY(mutex_);
};

} // namespace korvane
