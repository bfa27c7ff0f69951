#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace korvane {

/// One piece of background work. Subclasses give `main()`, which asks `isCancelled()` as often as it can
/// stop.
///
/// Held by shared pointer; the queue keeps it until it has ended. All members but `main()` may be called from
/// any thread.
class Operation {
public:
    virtual ~Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    /// Asks the operation to stop. One that has not started yet never runs its body; one that sleeps is
    /// woken.
    virtual void cancel();

    bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }
    bool isExecuting() const { return state_.load(std::memory_order_acquire) == State::Executing; }
    bool isFinished() const { return state_.load(std::memory_order_acquire) == State::Finished; }

    /// Runs once on the worker after the body has ended, cancelled or not. Set before the operation is
    /// queued.
    void setCompletion(std::function<void()> completion) { completion_ = std::move(completion); }

    /// Runs the body at once on the calling thread, without the completion. For callers that need the result
    /// now.
    void runBody() { main(); }

protected:
    Operation() = default;
    virtual void main() = 0;

    /// Sleeps until `duration` has passed, the operation is cancelled or `endSleep` is called.
    void sleepFor(std::chrono::microseconds duration);
    /// Ends the sleep under way, or the next one before it begins. Any thread.
    void endSleep();

private:
    friend class OperationQueue;
    enum class State { Ready, Executing, Finished };

    /// What a worker of the queue does with the operation.
    void run();

    std::atomic<bool> cancelled_{false};
    std::atomic<State> state_{State::Ready};
    std::function<void()> completion_;
    std::mutex sleepMutex_;
    /// Guarded by sleepMutex_.
    bool sleepEnded_ = false;
    std::condition_variable wake_;
};

} // namespace korvane
