#include "foundation/work/Workers.h"

#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace korvane {

Workers& Workers::shared() {
    // Never destroyed: threads may outlive main().
    static auto* const instance = new Workers;
    return *instance;
}

void Workers::start(std::function<void()> work) {
    const MutexLock guard(mutex_);
    const auto place = working_.emplace(working_.end());
    *place = std::thread([this, place, work = std::move(work)]() mutable {
        std::exchange(work, nullptr)();
        hasWorked(place);
    });
}

void Workers::giveWay() {
    constexpr int backgroundNiceness = 10;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), backgroundNiceness);
}

bool Workers::wait(std::chrono::milliseconds limit) {
    Threads ended;
    {
        MutexLock guard(mutex_);
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!working_.empty()) {
            if (!changed_.waitUntil(guard, end) && !working_.empty())
                return false;
        }
        ended.swap(ended_);
    }
    join(ended);
    return true;
}

void Workers::hasWorked(Threads::iterator place) {
    Threads before;
    {
        const MutexLock guard(mutex_);
        before.swap(ended_);
        ended_.splice(ended_.end(), working_, place);
        changed_.notifyAll();
    }
    join(before);
}

void Workers::join(Threads& threads) {
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace korvane
