#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace korvane {

/// The threads of all queues and pools, so that the program can wait for them at its end: what a library
/// keeps for each thread is cleared up behind the thread's work, and must not meet the end of the program.
/// Any thread.
class Workers {
public:
    static Workers& shared();

    /// Runs `work` on a thread of its own.
    void start(std::function<void()> work);
    /// Lowers the priority of the calling worker below that of all the user waits for. Workers end with their
    /// work, so it is never raised again.
    static void giveWay();

    /// Waits, at most as long as given, until no thread is left. Returns whether that is so.
    bool wait(std::chrono::milliseconds limit);

private:
    using Threads = std::list<std::thread>;

    /// On the thread itself, which sees to it that the one that ended before is joined.
    void hasWorked(Threads::iterator place);
    static void join(Threads& threads);

    std::mutex mutex_;
    std::condition_variable changed_;
    // Guarded by mutex_.
    Threads working_;
    Threads ended_;
};

} // namespace korvane
