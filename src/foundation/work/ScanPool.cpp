#include "foundation/work/ScanPool.h"

#include "foundation/Mutex.h"
#include "foundation/work/Workers.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <exception>
#include <list>
#include <thread>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using StepClock = std::chrono::steady_clock;

constexpr std::size_t priorities = 3;
/// A step that takes longer than this counts as held up by the file system; normal steps take milliseconds.
constexpr auto longestStep = 1s;

} // namespace

struct ScanPool::State {
    using Queue = std::deque<std::shared_ptr<Scan::Job>>;

    State(unsigned limit, Threads threadKind) : threads(limit), kind(threadKind) {}

    Queue& queue(Priority priority) REQUIRES(mutex) { return waiting[static_cast<std::size_t>(priority)]; }
    /// Removes the most urgent job from its queue; null if none is waiting.
    std::shared_ptr<Scan::Job> takeNext() REQUIRES(mutex);
    /// Whether another thread may start; if so, counts it.
    bool addThread() REQUIRES(mutex);
    unsigned heldThreads() const REQUIRES(mutex);
    static void startThread(const std::shared_ptr<State>& state);
    void work();
    bool isAnyWaiting() const REQUIRES(mutex) {
        return std::ranges::any_of(waiting, [](const Queue& queue) { return !queue.empty(); });
    }
    /// Call after every change that may empty the queues.
    void noteTaken() REQUIRES(mutex) {
        if (!isAnyWaiting())
            nothingWaits.notifyAll();
    }
    /// For a job without a thread: returns true if the caller must start the watch, which replaces held
    /// threads even if no other job is added. False if a watch is running already.
    bool addWatch() REQUIRES(mutex) { return !std::exchange(isWatched, true); }
    static void startWatch(const std::shared_ptr<State>& state);
    void watch(const std::shared_ptr<State>& self);

    const unsigned threads;
    const Threads kind;
    Mutex mutex;
    std::array<Queue, priorities> waiting GUARDED_BY(mutex);
    unsigned working GUARDED_BY(mutex) = 0;
    /// Start times of the running steps.
    std::list<StepClock::time_point> stepStarts GUARDED_BY(mutex);
    bool isWatched GUARDED_BY(mutex) = false;
    Condition nothingWaits;
    bool isClosed GUARDED_BY(mutex) = false;
};

struct ScanPool::Scan::Job {
    enum class Stage { Waiting, Running, Ended };

    Job(std::shared_ptr<State> owner, Priority urgency, Step next)
        : pool(std::move(owner)), priority(urgency), step(std::move(next)) {}

    /// False when the scan has ended.
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
    // Guarded by pool->mutex, which the check cannot know to be the mutex of the state that runs the job.
    Stage stage = Stage::Waiting;
    Priority priority;
    Step step; // a running one belongs to its thread
};

// ---- The threads

std::shared_ptr<ScanPool::Scan::Job> ScanPool::State::takeNext() {
    for (Queue& queue : waiting) {
        if (queue.empty())
            continue;
        auto job = std::move(queue.front());
        queue.pop_front();
        noteTaken();
        return job;
    }
    return nullptr;
}

unsigned ScanPool::State::heldThreads() const {
    const auto now = StepClock::now();
    return static_cast<unsigned>(std::ranges::count_if(
        stepStarts, [now](StepClock::time_point start) { return now - start > longestStep; }));
}

bool ScanPool::State::addThread() {
    if (working >= threads + heldThreads())
        return false;
    ++working;
    return true;
}

void ScanPool::State::startThread(const std::shared_ptr<State>& state) {
    Workers::shared().start([state] { state->work(); });
}

void ScanPool::State::startWatch(const std::shared_ptr<State>& state) {
    Workers::shared().start([state] { state->watch(state); });
}

void ScanPool::State::watch(const std::shared_ptr<State>& self) {
    MutexLock guard(mutex);
    auto nextLook = StepClock::now() + longestStep;
    while (isAnyWaiting()) {
        if (nothingWaits.waitUntil(guard, nextLook))
            continue;
        if (isAnyWaiting() && addThread())
            startThread(self);
        nextLook = StepClock::now() + longestStep;
    }
    isWatched = false;
}

void ScanPool::State::work() {
    if (kind == Threads::GiveWay)
        Workers::giveWay();
    MutexLock guard(mutex);
    // A thread that replaced a held one ends when that one is no longer held.
    while (working <= threads + heldThreads()) {
        std::shared_ptr<Scan::Job> job = takeNext();
        if (!job)
            break;
        job->stage = Scan::Job::Stage::Running;
        const auto start = stepStarts.insert(stepStarts.end(), StepClock::now());
        guard.unlock();
        const bool hasMore = job->runStep();
        guard.lock();
        stepStarts.erase(start);
        if (hasMore && !job->stop.stop_requested() && !isClosed) {
            job->stage = Scan::Job::Stage::Waiting;
            queue(job->priority).push_back(std::move(job));
            continue;
        }
        job->stage = Scan::Job::Stage::Ended;
        Step ended = std::exchange(job->step, nullptr);
        // What the step captures may be slow to free, and may use the pool: not under the lock.
        guard.unlock();
        ended = nullptr;
        job.reset();
        guard.lock();
    }
    --working;
}

// ---- The pool

ScanPool& ScanPool::shared() {
    // Never destroyed: threads may outlive main().
    static auto* const instance = new ScanPool;
    return *instance;
}

ScanPool& ScanPool::ofLoads() {
    static auto* const instance = new ScanPool(0, Threads::GiveWay);
    return *instance;
}

ScanPool::ScanPool(unsigned threads, Threads kind)
    : state_(std::make_shared<State>(
          threads > 0 ? threads : std::max(1U, std::thread::hardware_concurrency()), kind)) {}

ScanPool::~ScanPool() {
    std::array<State::Queue, priorities> dropped;
    const MutexLock guard(state_->mutex);
    state_->isClosed = true;
    state_->waiting.swap(dropped);
    state_->noteTaken();
    for (const State::Queue& queue : dropped) {
        for (const auto& job : queue)
            job->stage = Scan::Job::Stage::Ended;
    }
}

ScanPool::Scan ScanPool::start(Priority priority, Step step) {
    Scan scan;
    scan.job_ = std::make_shared<Scan::Job>(state_, priority, std::move(step));
    const MutexLock guard(state_->mutex);
    state_->queue(priority).push_back(scan.job_);
    if (state_->addThread())
        State::startThread(state_);
    else if (state_->addWatch())
        State::startWatch(state_);
    return scan;
}

bool ScanPool::isWaitedFor(Priority priority) const {
    const MutexLock guard(state_->mutex);
    const auto end = state_->waiting.begin() + static_cast<std::ptrdiff_t>(priority) + 1;
    return std::any_of(state_->waiting.begin(), end,
                       [](const State::Queue& queue) { return !queue.empty(); });
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
    const MutexLock guard(job_->pool->mutex);
    if (job_->stage != Job::Stage::Waiting)
        return;
    std::erase(job_->pool->queue(job_->priority), job_);
    job_->pool->noteTaken();
    job_->stage = Job::Stage::Ended;
    cancelled.swap(job_->step);
}

void ScanPool::Scan::setPriority(Priority priority) {
    if (!job_)
        return;
    {
        const MutexLock guard(job_->pool->mutex);
        const bool isWaiting = job_->stage == Job::Stage::Waiting;
        if (isWaiting) {
            std::erase(job_->pool->queue(job_->priority), job_);
            job_->pool->queue(priority).push_back(job_);
        }
        job_->priority = priority;
        if (!isWaiting || !job_->pool->addThread())
            return;
    }
    State::startThread(job_->pool);
}

bool ScanPool::Scan::isUnderWay() const {
    if (!job_)
        return false;
    const MutexLock guard(job_->pool->mutex);
    return job_->stage != Job::Stage::Ended;
}

} // namespace korvane
