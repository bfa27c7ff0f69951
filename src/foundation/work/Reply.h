#pragma once

#include "foundation/Mutex.h"

#include <chrono>
#include <optional>

namespace korvane {

/// A value that one thread waits for and another one sets. Any thread.
template <typename T>
class Reply {
public:
    /// Only the first value counts.
    void set(T value) {
        const MutexLock guard(mutex_);
        if (!value_)
            value_ = std::move(value);
        arrived_.notifyAll();
    }

    bool isSet() const {
        const MutexLock guard(mutex_);
        return value_.has_value();
    }

    /// Blocks until the value is set, and takes it. Until then `meanwhile` is called at every interval.
    template <typename Meanwhile>
    T wait(Meanwhile&& meanwhile, std::chrono::milliseconds interval) {
        MutexLock lock(mutex_);
        auto next = std::chrono::steady_clock::now() + interval;
        while (!value_) {
            if (arrived_.waitUntil(lock, next))
                continue;
            lock.unlock();
            meanwhile();
            lock.lock();
            next = std::chrono::steady_clock::now() + interval;
        }
        return std::move(*value_);
    }
    T wait() {
        MutexLock lock(mutex_);
        while (!value_)
            arrived_.wait(lock);
        return std::move(*value_);
    }

private:
    mutable Mutex mutex_;
    Condition arrived_;
    std::optional<T> value_ GUARDED_BY(mutex_);
};

} // namespace korvane
