#pragma once

#include <mutex>
#include <utility>

namespace korvane::test {

/// A value that several threads use.
template <typename T>
class Guarded {
public:
    T get() const {
        const std::lock_guard guard(mutex_);
        return value_;
    }
    /// The value, which is empty from now on.
    T take() { return exchange({}); }
    T exchange(T value) {
        const std::lock_guard guard(mutex_);
        return std::exchange(value_, std::move(value));
    }
    /// Appends to a list or text.
    template <typename Element>
    void add(const Element& element) {
        const std::lock_guard guard(mutex_);
        value_.insert(value_.end(), element);
    }

private:
    mutable std::mutex mutex_;
    T value_; // guarded by mutex_
};

} // namespace korvane::test
