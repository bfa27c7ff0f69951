#include "foundation/work/MainThread.h"

#include "foundation/FatalError.h"

#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace korvane {

MainThread& MainThread::shared() {
    // Never destroyed: workers that outlive main() may still post.
    static auto* const instance = new MainThread;
    return *instance;
}

MainThread::MainThread() : wakeDescriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeDescriptor_ < 0)
        fatalError("no event descriptor for the main thread");
}

MainThread::~MainThread() {
    ::close(wakeDescriptor_);
}

void MainThread::post(Task task) {
    const std::uint64_t one = 1;
    const MutexLock guard(mutex_);
    tasks_.push_back(std::move(task));
    // Fails only when the counter is full, and then the descriptor is readable anyway.
    [[maybe_unused]] const auto written = ::write(wakeDescriptor_, &one, sizeof one);
}

void MainThread::runPending() {
    std::size_t due = 0;
    {
        const MutexLock guard(mutex_);
        due = tasks_.size();
    }
    for (; due > 0; --due) {
        Task task;
        {
            const MutexLock guard(mutex_);
            if (tasks_.empty())
                return; // a task ran a nested event loop, which has run the rest
            task = std::move(tasks_.front());
            tasks_.pop_front();
            if (tasks_.empty()) {
                std::uint64_t count = 0;
                [[maybe_unused]] const auto taken = ::read(wakeDescriptor_, &count, sizeof count);
            }
        }
        task();
    }
}

} // namespace korvane
