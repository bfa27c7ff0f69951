#pragma once

#include "foundation/work/MainThread.h"
#include "foundation/work/OperationQueue.h"

#include <chrono>
#include <functional>
#include <thread>

namespace korvane::test {

/// Runs tasks of the main thread until the condition holds; false when it does not within the limit.
inline bool waitFor(const std::function<bool()>& condition,
                    std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        MainThread::shared().runPending();
        if (condition())
            return true;
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Waits until all workers have ended, and runs what they have posted.
inline bool settle(std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    const bool ended = OperationQueue::waitForAllWorkers(limit);
    MainThread::shared().runPending();
    return ended;
}

} // namespace korvane::test
