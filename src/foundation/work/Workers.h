#pragma once

#include "foundation/Mutex.h"

#include <chrono>
#include <functional>
#include <list>
#include <thread>

namespace korvane {

/// The threads of all queues and pools, so that the program can wait for them at its end: thread-local data
/// of libraries is destroyed after a thread's work, and must not outlast the program. Any thread.
class Workers {
public:
    static Workers& shared();

    /// Runs `work` on a new thread.
    void start(std::function<void()> work);
    /// Lowers the priority of the calling worker below work that the user waits for. Never raised again,
    /// since a worker ends with its work.
    static void giveWay();

    /// Waits until no thread is left, at most as long as given. Returns whether none is left.
    bool wait(std::chrono::milliseconds limit);

private:
    using Threads = std::list<std::thread>;

    /// Called on the thread itself; joins the thread that ended before it.
    void hasWorked(Threads::iterator place);
    static void join(Threads& threads);

    Mutex mutex_;
    Condition changed_;
    Threads working_ GUARDED_BY(mutex_);
    Threads ended_ GUARDED_BY(mutex_);
};

} // namespace korvane
