#include "foundation/work/ScanPool.h"

#include "foundation/work/Workers.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <deque>
#include <exception>
#include <thread>
#include <utility>

namespace korvane {
namespace {

constexpr std::size_t priorities = 3;

} // namespace

struct ScanPool::State {
    using Queue = std::deque<std::shared_ptr<Scan::Job>>;

    explicit State(unsigned limit) : threads(limit) {}

    Queue& queue(Priority priority) { return waiting[static_cast<std::size_t>(priority)]; }
    /// The most urgent job, taken out of its queue; null when nothing waits.
    std::shared_ptr<Scan::Job> takeNext();
    void work();

    const unsigned threads;
    std::mutex mutex;
    // Guarded by mutex.
    std::array<Queue, priorities> waiting;
    unsigned working = 0;
    bool isClosed = false;
};

struct ScanPool::Scan::Job {
    enum class Stage { Waiting, Running, Ended };

    Job(std::shared_ptr<State> owner, Priority urgency, Step next)
        : pool(std::move(owner)), priority(urgency), step(std::move(next)) {}

    /// False when there is no more to do.
    bool runStep() {
        try {
            return step(stop.get_token());
        } catch (const std::exception& fault) {
            qWarning("A scan was given up: %s", fault.what());
            return false;
        }
    }

    const std::shared_ptr<State> pool;
    std::stop_source stop;
    // Guarded by pool->mutex; the step is that of the thread that runs it.
    Stage stage = Stage::Waiting;
    Priority priority;
    Step step;
};

// ---- The threads

std::shared_ptr<ScanPool::Scan::Job> ScanPool::State::takeNext() {
    for (Queue& queue : waiting) {
        if (queue.empty())
            continue;
        auto job = std::move(queue.front());
        queue.pop_front();
        return job;
    }
    return nullptr;
}

void ScanPool::State::work() {
    std::unique_lock guard(mutex);
    while (std::shared_ptr<Scan::Job> job = takeNext()) {
        job->stage = Scan::Job::Stage::Running;
        guard.unlock();
        const bool hasMore = job->runStep();
        guard.lock();
        if (hasMore && !job->stop.stop_requested() && !isClosed) {
            job->stage = Scan::Job::Stage::Waiting;
            queue(job->priority).push_back(std::move(job));
            continue;
        }
        job->stage = Scan::Job::Stage::Ended;
        Step ended = std::exchange(job->step, nullptr);
        // What the step holds may take its time to free, and may use the pool: not under the lock.
        guard.unlock();
        ended = nullptr;
        job.reset();
        guard.lock();
    }
    --working;
}

// ---- The pool

ScanPool& ScanPool::shared() {
    // Never destroyed: threads may outlast main().
    static ScanPool* const instance = new ScanPool;
    return *instance;
}

ScanPool::ScanPool(unsigned threads)
    : state_(std::make_shared<State>(threads > 0 ? threads
                                                 : std::max(1U, std::thread::hardware_concurrency()))) {}

ScanPool::~ScanPool() {
    std::array<State::Queue, priorities> dropped;
    const std::lock_guard guard(state_->mutex);
    state_->isClosed = true;
    state_->waiting.swap(dropped);
    for (const State::Queue& queue : dropped) {
        for (const auto& job : queue)
            job->stage = Scan::Job::Stage::Ended;
    }
}

ScanPool::Scan ScanPool::start(Priority priority, Step step) {
    Scan scan;
    scan.job_ = std::make_shared<Scan::Job>(state_, priority, std::move(step));
    {
        const std::lock_guard guard(state_->mutex);
        state_->queue(priority).push_back(scan.job_);
        if (state_->working == state_->threads)
            return scan;
        ++state_->working;
    }
    Workers::shared().start([state = state_] { state->work(); });
    return scan;
}

// ---- One scan

ScanPool::Scan& ScanPool::Scan::operator=(Scan&& other) noexcept {
    cancel();
    job_ = std::move(other.job_);
    return *this;
}

void ScanPool::Scan::cancel() {
    if (!job_)
        return;
    job_->stop.request_stop();
    Step cancelled;
    const std::lock_guard guard(job_->pool->mutex);
    if (job_->stage != Job::Stage::Waiting)
        return;
    std::erase(job_->pool->queue(job_->priority), job_);
    job_->stage = Job::Stage::Ended;
    cancelled.swap(job_->step);
}

void ScanPool::Scan::setPriority(Priority priority) {
    if (!job_)
        return;
    const std::lock_guard guard(job_->pool->mutex);
    if (job_->stage == Job::Stage::Waiting) {
        std::erase(job_->pool->queue(job_->priority), job_);
        job_->pool->queue(priority).push_back(job_);
    }
    job_->priority = priority;
}

bool ScanPool::Scan::isUnderWay() const {
    if (!job_)
        return false;
    const std::lock_guard guard(job_->pool->mutex);
    return job_->stage != Job::Stage::Ended;
}

} // namespace korvane
