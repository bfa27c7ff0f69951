#include "foundation/work/OperationQueue.h"

#include "foundation/Mutex.h"
#include "foundation/work/Workers.h"

#include <algorithm>
#include <deque>
#include <thread>

namespace korvane {
namespace {

int workerLimit(int maximumConcurrent) {
    if (maximumConcurrent != OperationQueue::defaultConcurrency)
        return maximumConcurrent;
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 2, 4);
}

} // namespace

struct OperationQueue::State {
    const std::string name;
    const int maximumConcurrent;
    const Priority priority;

    Mutex mutex;
    Condition idle;
    std::deque<std::shared_ptr<Operation>> waiting GUARDED_BY(mutex);
    std::vector<std::shared_ptr<Operation>> running GUARDED_BY(mutex);
    int workers GUARDED_BY(mutex) = 0;

    State(std::string queueName, int maximum, Priority workPriority)
        : name(std::move(queueName)), maximumConcurrent(maximum), priority(workPriority) {}
};

OperationQueue::OperationQueue(std::string name, int maximumConcurrent, Priority priority)
    : state_(std::make_shared<State>(std::move(name), maximumConcurrent, priority)) {}

OperationQueue::~OperationQueue() {
    cancelAllOperations();
}

const std::string& OperationQueue::name() const {
    return state_->name;
}

int OperationQueue::maximumConcurrent() const {
    return state_->maximumConcurrent;
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
    {
        const MutexLock guard(state_->mutex);
        state_->waiting.push_back(std::move(operation));
        if (state_->workers >= workerLimit(state_->maximumConcurrent))
            return;
        ++state_->workers;
    }
    Workers::shared().start([state = state_] { work(state); });
}

void OperationQueue::work(const std::shared_ptr<State>& state) {
    if (state->priority == Priority::Background)
        Workers::giveWay();
    MutexLock guard(state->mutex);
    while (!state->waiting.empty()) {
        std::shared_ptr<Operation> operation = std::move(state->waiting.front());
        state->waiting.pop_front();
        state->running.push_back(operation);
        guard.unlock();
        operation->run();
        guard.lock();
        std::erase(state->running, operation);
        if (state->waiting.empty() && state->running.empty())
            state->idle.notifyAll();
        // This may release the last reference, and so everything that the operation owns: not under the lock.
        guard.unlock();
        operation.reset();
        guard.lock();
    }
    --state->workers;
}

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const {
    const MutexLock guard(state_->mutex);
    std::vector<std::shared_ptr<Operation>> all = state_->running;
    all.insert(all.end(), state_->waiting.begin(), state_->waiting.end());
    return all;
}

void OperationQueue::cancelAllOperations() {
    // Outside the lock: an operation's cancel may call back into its owner.
    for (const auto& operation : operations())
        operation->cancel();
}

void OperationQueue::waitUntilAllFinished() const {
    MutexLock guard(state_->mutex);
    while (!state_->waiting.empty() || !state_->running.empty())
        state_->idle.wait(guard);
}

bool OperationQueue::waitForAllWorkers(std::chrono::milliseconds limit) {
    return Workers::shared().wait(limit);
}

} // namespace korvane
