#include "foundation/work/ScanPool.h"

#include "foundation/work/Workers.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
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
/// Steps take milliseconds: one that takes longer than this waits for the file system.
constexpr auto longestStep = 1s;

} // namespace

struct ScanPool::State {
    using Queue = std::deque<std::shared_ptr<Scan::Job>>;

    State(unsigned limit, Threads threadKind) : threads(limit), kind(threadKind) {}

    Queue& queue(Priority priority) { return waiting[static_cast<std::size_t>(priority)]; }
    /// The most urgent job, taken out of its queue; null when nothing waits.
    std::shared_ptr<Scan::Job> takeNext();
    /// Whether another thread may work; counts it in when it may.
    bool addThread();
    unsigned heldThreads() const;
    static void startThread(const std::shared_ptr<State>& state);
    void work();
    bool isAnyWaiting() const {
        return std::ranges::any_of(waiting, [](const Queue& queue) { return !queue.empty(); });
    }
    /// Must come after every change that may leave nothing waiting.
    void noteTaken() {
        if (!isAnyWaiting())
            nothingWaits.notify_all();
    }
    /// For a job that got no thread: sees to it that a thread which turns out to be held is replaced, though
    /// no other job comes. False when that is seen to already.
    bool addWatch() { return !std::exchange(isWatched, true); }
    static void startWatch(const std::shared_ptr<State>& state);
    void watch(const std::shared_ptr<State>& self);

    const unsigned threads;
    const Threads kind;
    std::mutex mutex;
    // Guarded by mutex.
    std::array<Queue, priorities> waiting;
    unsigned working = 0;
    /// When the steps under way began.
    std::list<StepClock::time_point> stepStarts;
    bool isWatched = false;
    std::condition_variable nothingWaits;
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
    std::unique_lock guard(mutex);
    while (!nothingWaits.wait_for(guard, longestStep, [this] { return !isAnyWaiting(); })) {
        if (addThread())
            startThread(self);
    }
    isWatched = false;
}

void ScanPool::State::work() {
    if (kind == Threads::GiveWay)
        Workers::giveWay();
    std::unique_lock guard(mutex);
    // One that replaced a held thread ends when that has come back.
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

ScanPool& ScanPool::ofLoads() {
    static ScanPool* const instance = new ScanPool(0, Threads::GiveWay);
    return *instance;
}

ScanPool::ScanPool(unsigned threads, Threads kind)
    : state_(std::make_shared<State>(
          threads > 0 ? threads : std::max(1U, std::thread::hardware_concurrency()), kind)) {}

ScanPool::~ScanPool() {
    std::array<State::Queue, priorities> dropped;
    const std::lock_guard guard(state_->mutex);
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
    const std::lock_guard guard(state_->mutex);
    state_->queue(priority).push_back(scan.job_);
    if (state_->addThread())
        State::startThread(state_);
    else if (state_->addWatch())
        State::startWatch(state_);
    return scan;
}

bool ScanPool::isWaitedFor(Priority priority) const {
    const std::lock_guard guard(state_->mutex);
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
    const std::lock_guard guard(job_->pool->mutex);
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
        const std::lock_guard guard(job_->pool->mutex);
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
    const std::lock_guard guard(job_->pool->mutex);
    return job_->stage != Job::Stage::Ended;
}

} // namespace korvane
