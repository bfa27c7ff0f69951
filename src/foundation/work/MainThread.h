#pragma once

#include "foundation/Mutex.h"

#include <deque>
#include <functional>
#include <thread>

namespace korvane {

/// Passes work to the main thread: any thread posts tasks, the main thread runs them in order.
///
/// Uses only standard primitives and one event descriptor, so that the thread sanitizer understands it. The
/// application lets its event loop watch `wakeDescriptor()` and calls `runPending()` when it becomes
/// readable.
class MainThread {
public:
    using Task = std::function<void()>;

    static MainThread& shared();

    /// Queues `task` for the main thread. Any thread; never blocks, never runs the task at once.
    void post(Task task);

    /// Runs every task posted before the call; tasks posted by these wait for the next call. Main thread
    /// only; a task may call it again (the event loop of a modal dialog does), and the order is kept.
    void runPending();

    /// Readable exactly while tasks are pending. Owned by this object.
    int wakeDescriptor() const { return wakeDescriptor_; }

    MainThread(const MainThread&) = delete;
    MainThread& operator=(const MainThread&) = delete;

private:
    MainThread();
    ~MainThread();

    const int wakeDescriptor_;
    Mutex mutex_;
    std::deque<Task> tasks_ GUARDED_BY(mutex_);
};

} // namespace korvane
