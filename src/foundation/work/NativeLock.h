#pragma once

#include "foundation/Mutex.h"

#include <utility>

namespace korvane {

/// A read-write lock: any number of readers, or one writer. Not recursive. Any thread.
///
/// A body that touches what the lock guards says so itself: `[this]() REQUIRES_SHARED(lock_) { … }` for
/// reading, `REQUIRES(lock_)` for writing. The check cannot know in here that this is the lock that the body
/// names.
class THREAD_ATTRIBUTE(capability("mutex")) NativeLock {
public:
    template <typename Body>
    decltype(auto) withReadLock(Body&& body) const NO_THREAD_SAFETY_ANALYSIS {
        const ReadLock guard(mutex_);
        return std::forward<Body>(body)();
    }

    template <typename Body>
    decltype(auto) withWriteLock(Body&& body) const NO_THREAD_SAFETY_ANALYSIS {
        const WriteLock guard(mutex_);
        return std::forward<Body>(body)();
    }

private:
    mutable SharedMutex mutex_;
};

} // namespace korvane
