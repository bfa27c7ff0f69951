#pragma once

#include "foundation/Mutex.h"

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

    /// Blocks until the value is set, and takes it.
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
