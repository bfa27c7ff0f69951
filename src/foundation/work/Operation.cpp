#include "foundation/work/Operation.h"

#include "foundation/work/MainThread.h"

#include <QtGlobal>

#include <utility>

namespace korvane {

void Operation::cancel() {
    {
        // Under the sleeper's mutex, so that a cancel cannot fall between its check and its wait.
        const MutexLock guard(sleepMutex_);
        cancelled_.store(true, std::memory_order_release);
    }
    wake_.notifyAll();
}

void Operation::sleepFor(std::chrono::microseconds duration) {
    MutexLock guard(sleepMutex_);
    const auto end = std::chrono::steady_clock::now() + duration;
    while (!isCancelled() && !sleepEnded_ && wake_.waitUntil(guard, end))
        ;
    sleepEnded_ = false;
}

void Operation::endSleep() {
    {
        const MutexLock guard(sleepMutex_);
        sleepEnded_ = true;
    }
    wake_.notifyAll();
}

void Operation::run() {
    while (runStep([] { return false; }))
        ;
}

bool Operation::runStep(const std::function<bool()>& mustYield) {
    // A cancelled operation that has started gets another step, to report how it ended.
    if (!isCancelled() || isExecuting()) {
        state_.store(State::Executing, std::memory_order_release);
        try {
            if (step(mustYield))
                return true;
        } catch (const std::exception& fault) {
            failed(fault);
        }
    }
    state_.store(State::Finished, std::memory_order_release);
    if (completion_)
        completion_();
    // The completion often captures the owner of the operation: release it.
    completion_ = nullptr;
    const MutexLock guard(handlerMutex_);
    if (handler_)
        postHandler();
    else
        awaitsHandler_ = true;
    return false;
}

void Operation::failed(const std::exception& fault) {
    qWarning("Background work was given up: %s", fault.what());
}

void Operation::setHandler(std::function<void()> handler) {
    const MutexLock guard(handlerMutex_);
    handler_ = std::move(handler);
    if (awaitsHandler_)
        postHandler();
}

void Operation::postHandler() {
    // The handler is destroyed on the main thread, because it often captures objects of that thread.
    MainThread::shared().post([self = shared_from_this(), handler = std::exchange(handler_, nullptr)] {
        if (!self->isCancelled())
            handler();
    });
}

} // namespace korvane
