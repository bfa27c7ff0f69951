#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace korvane {

/// A value that one thread waits for and another one sets. Any thread.
template <typename T>
class Reply {
public:
    /// Only the first value counts.
    void set(T value) {
        const std::lock_guard guard(mutex_);
        if (!value_)
            value_ = std::move(value);
        arrived_.notify_all();
    }

    bool isSet() const {
        const std::lock_guard guard(mutex_);
        return value_.has_value();
    }

    /// Blocks until the value is set, and takes it. Until then `meanwhile` is called at every interval.
    template <typename Meanwhile>
    T wait(Meanwhile&& meanwhile, std::chrono::milliseconds interval) {
        std::unique_lock lock(mutex_);
        while (!arrived_.wait_for(lock, interval, [this] { return value_.has_value(); })) {
            lock.unlock();
            meanwhile();
            lock.lock();
        }
        return std::move(*value_);
    }
    T wait() {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [this] { return value_.has_value(); });
        return std::move(*value_);
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::optional<T> value_;
};

} // namespace korvane
