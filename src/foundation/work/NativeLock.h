#pragma once

#include <mutex>
#include <shared_mutex>
#include <utility>

namespace korvane {

/// A read-write lock: any number of readers, or one writer. Not recursive. Any thread.
class NativeLock {
public:
    template <typename Body>
    decltype(auto) withReadLock(Body&& body) const {
        const std::shared_lock guard(mutex_);
        return std::forward<Body>(body)();
    }

    template <typename Body>
    decltype(auto) withWriteLock(Body&& body) const {
        const std::unique_lock guard(mutex_);
        return std::forward<Body>(body)();
    }

private:
    mutable std::shared_mutex mutex_;
};

} // namespace korvane
