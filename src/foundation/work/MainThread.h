#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace korvane {

/// The way of work to the main thread: any thread posts, the main thread runs what was posted, in order.
///
/// Made of standard primitives and one event descriptor, so that the thread sanitizer sees through it. The
/// application lets its event loop watch `wakeDescriptor()` and calls `runPending()` when it becomes
/// readable.
class MainThread {
public:
    using Task = std::function<void()>;

    static MainThread& shared();

    /// Queues `task` for the main thread. Any thread; never blocks, never runs the task at once.
    void post(Task task);

    /// Runs everything posted before the call, and what those tasks post no more (that waits for the next
    /// round). Main thread only; a task may call it again (a modal dialog's event loop does), and the order
    /// holds.
    void runPending();

    /// Readable exactly while tasks are pending. Owned by this object.
    int wakeDescriptor() const { return wakeDescriptor_; }

    MainThread(const MainThread&) = delete;
    MainThread& operator=(const MainThread&) = delete;

private:
    MainThread();
    ~MainThread();

    const int wakeDescriptor_;
    std::mutex mutex_;
    std::deque<Task> tasks_;
};

} // namespace korvane
