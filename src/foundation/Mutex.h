#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>

// Locks whose use clang checks at compile time (-Wthread-safety). Other compilers ignore the attributes.
#ifdef __clang__
#define THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define THREAD_ATTRIBUTE(attribute)
#endif
/// Behind a field: may only be read and written while that mutex is held.
#define GUARDED_BY(mutex) THREAD_ATTRIBUTE(guarded_by(mutex))
/// Behind a function's parameters: the caller holds that mutex.
#define REQUIRES(mutex) THREAD_ATTRIBUTE(requires_capability(mutex))
/// As REQUIRES; holding it for reading is enough.
#define REQUIRES_SHARED(mutex) THREAD_ATTRIBUTE(requires_shared_capability(mutex))
/// Exempts a function from the check. The reason is written beside it.
#define NO_THREAD_SAFETY_ANALYSIS THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace korvane {

/// A mutex, not recursive. Any thread. Locked with `MutexLock`.
class THREAD_ATTRIBUTE(capability("mutex")) Mutex {
private:
    friend class MutexLock;
    std::mutex mutex_;
};

/// Holds a mutex while it lives; in between it can be released and taken again. One thread.
class THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) THREAD_ATTRIBUTE(acquire_capability(mutex)) : lock_(mutex.mutex_) {}
    ~MutexLock() THREAD_ATTRIBUTE(release_capability()) = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void lock() THREAD_ATTRIBUTE(acquire_capability()) { lock_.lock(); }
    void unlock() THREAD_ATTRIBUTE(release_capability()) { lock_.unlock(); }

private:
    friend class Condition;
    std::unique_lock<std::mutex> lock_;
};

/// Wakes threads that wait for a change of what a mutex guards. Waits end without a reason, too: the caller
/// waits in a loop over its own condition, which the check can then follow. Any thread.
class Condition {
public:
    void notifyAll() { condition_.notify_all(); }

    /// Releases the lock while it waits.
    void wait(MutexLock& lock) { condition_.wait(lock.lock_); }
    /// False when the time has passed.
    bool waitUntil(MutexLock& lock, std::chrono::steady_clock::time_point end) {
        return condition_.wait_until(lock.lock_, end) == std::cv_status::no_timeout;
    }

private:
    std::condition_variable condition_;
};

/// A mutex that any number of readers hold together, or one writer alone. Not recursive. Any thread. Locked
/// with `ReadLock` and `WriteLock`.
class THREAD_ATTRIBUTE(capability("mutex")) SharedMutex {
private:
    friend class ReadLock;
    friend class WriteLock;
    std::shared_mutex mutex_;
};

/// Holds a mutex for reading while it lives. One thread.
class THREAD_ATTRIBUTE(scoped_lockable) ReadLock {
public:
    explicit ReadLock(SharedMutex& mutex) THREAD_ATTRIBUTE(acquire_shared_capability(mutex))
        : lock_(mutex.mutex_) {}
    ~ReadLock() THREAD_ATTRIBUTE(release_generic_capability()) = default;
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;

private:
    std::shared_lock<std::shared_mutex> lock_;
};

/// Holds a mutex for writing while it lives. One thread.
class THREAD_ATTRIBUTE(scoped_lockable) WriteLock {
public:
    explicit WriteLock(SharedMutex& mutex) THREAD_ATTRIBUTE(acquire_capability(mutex))
        : lock_(mutex.mutex_) {}
    ~WriteLock() THREAD_ATTRIBUTE(release_capability()) = default;
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

private:
    std::unique_lock<std::shared_mutex> lock_;
};

} // namespace korvane
