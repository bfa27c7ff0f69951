#pragma once

#include "foundation/Mutex.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>

namespace korvane {

/// Keeps the owner of a handler alive while the handler runs; false if the owner no longer exists. A weak
/// pointer is locked; a guarded pointer (QPointer) tests itself, on the main thread only.
template <typename Owner>
auto lockedOwner(const std::weak_ptr<Owner>& owner) {
    return owner.lock();
}
template <typename Pointer>
const Pointer& lockedOwner(const Pointer& owner) {
    return owner;
}

/// One piece of background work. Subclasses implement `main()`, which checks `isCancelled()` wherever it can
/// stop.
///
/// Held by shared pointer; the queue keeps it until it has ended. All members but `main()` may be called from
/// any thread.
class Operation : public std::enable_shared_from_this<Operation> {
public:
    virtual ~Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    /// Requests the operation to stop. If it has not started yet, its body never runs; a sleeping one is
    /// woken.
    virtual void cancel();

    bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }
    bool isExecuting() const { return state_.load(std::memory_order_acquire) == State::Executing; }
    bool isFinished() const { return state_.load(std::memory_order_acquire) == State::Finished; }

    /// Called once on the worker after the body has ended, cancelled or not. Set before the operation is
    /// queued.
    void setCompletion(std::function<void()> completion) { completion_ = std::move(completion); }

    /// Runs `handler` on the main thread after the body has ended, unless `owner` no longer exists or the
    /// operation was cancelled. At most one handler, set before or after the operation is queued; it is
    /// destroyed on the main thread, whether or not it ran.
    template <typename Owner, typename Handler>
    void then(Owner owner, Handler handler) {
        setHandler([owner = std::move(owner), handler = std::move(handler)]() mutable {
            if (const auto& alive = lockedOwner(owner))
                handler();
        });
    }

    /// Runs the body at once on the calling thread, without completion and handler. For callers that need the
    /// result now.
    void runBody() { main(); }

protected:
    Operation() = default;
    virtual void main() = 0;
    /// Runs a piece of the body; true while there is more. `mustYield` returns whether others wait for the
    /// thread: a body that can be resumed ends its piece then. By default the whole body is one piece.
    virtual bool step(const std::function<bool()>& /*mustYield*/) {
        main();
        return false;
    }

    /// Called on the worker when an exception of a library has ended the body; completion and handler still
    /// run.
    virtual void failed(const std::exception& fault);

    /// Sleeps until `duration` has passed, the operation is cancelled or `endSleep` is called.
    void sleepFor(std::chrono::microseconds duration);
    /// Ends the present sleep, or the next one before it begins. Any thread.
    void endSleep();

private:
    friend class OperationQueue;
    friend class ScanQueue;
    enum class State { Ready, Executing, Finished };

    /// Runs the operation on the calling worker.
    void run();
    /// As `run`, in pieces: to be called again while it returns true.
    bool runStep(const std::function<bool()>& mustYield);
    void setHandler(std::function<void()> handler);
    void postHandler() REQUIRES(handlerMutex_);

    std::atomic<bool> cancelled_{false};
    std::atomic<State> state_{State::Ready};
    std::function<void()> completion_;
    Mutex sleepMutex_;
    bool sleepEnded_ GUARDED_BY(sleepMutex_) = false;
    Condition wake_;

    Mutex handlerMutex_;
    std::function<void()> handler_ GUARDED_BY(handlerMutex_);
    bool awaitsHandler_ GUARDED_BY(handlerMutex_) = false;
};

} // namespace korvane
