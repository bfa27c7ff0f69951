#include "foundation/work/ScanQueue.h"

#include "foundation/Mutex.h"

#include <atomic>
#include <deque>
#include <utility>

namespace korvane {

struct ScanQueue::State {
    State(std::string queueName, ScanPool& scanPool, ScanPool::Priority initial)
        : name(std::move(queueName)), pool(scanPool), priority(initial) {}

    /// Runs a step of the first operation. False when no operation is left.
    bool step();

    const std::string name;
    ScanPool& pool;
    std::atomic<ScanPool::Priority> priority;
    Mutex mutex;
    std::deque<std::shared_ptr<Operation>> operations GUARDED_BY(mutex);
    bool isUnderWay GUARDED_BY(mutex) = false;
    /// Its steps keep this state alive until the last operation has ended.
    ScanPool::Scan scan GUARDED_BY(mutex);
};

bool ScanQueue::State::step() {
    std::shared_ptr<Operation> operation;
    {
        const MutexLock guard(mutex);
        operation = operations.front();
    }
    if (operation->runStep([this] { return pool.isWaitedFor(priority); }))
        return true;
    const MutexLock guard(mutex);
    operations.pop_front();
    isUnderWay = !operations.empty();
    return isUnderWay;
}

ScanQueue::ScanQueue(std::string name, ScanPool& pool, ScanPool::Priority priority)
    : state_(std::make_shared<State>(std::move(name), pool, priority)) {}

ScanQueue::~ScanQueue() {
    cancelAllOperations();
}

const std::string& ScanQueue::name() const {
    return state_->name;
}

void ScanQueue::addOperation(std::shared_ptr<Operation> operation) {
    const MutexLock guard(state_->mutex);
    state_->operations.push_back(std::move(operation));
    if (std::exchange(state_->isUnderWay, true))
        return;
    state_->scan = state_->pool.start(state_->priority,
                                      [state = state_](const std::stop_token&) { return state->step(); });
}

void ScanQueue::setPriority(ScanPool::Priority priority) {
    const MutexLock guard(state_->mutex);
    state_->priority = priority;
    state_->scan.setPriority(priority);
}

std::vector<std::shared_ptr<Operation>> ScanQueue::operations() const {
    const MutexLock guard(state_->mutex);
    return {state_->operations.begin(), state_->operations.end()};
}

void ScanQueue::cancelAllOperations() {
    // Outside the lock: an operation's cancel may call back into its owner.
    for (const auto& operation : operations())
        operation->cancel();
}

} // namespace korvane
