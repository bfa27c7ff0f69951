#include "documents/LoadProgressController.h"

#include <new>
#include <utility>

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;

std::int64_t ticksNow() {
    return Clock::now().time_since_epoch().count();
}

} // namespace

LoadProgressController::LoadProgressController(QString fileName) : fileName_(std::move(fileName)) {}

std::chrono::milliseconds LoadProgressController::elapsed() const {
    const std::int64_t startedAt = startedAt_.load(std::memory_order_acquire);
    if (startedAt == 0)
        return std::chrono::milliseconds(0);
    const std::int64_t endedAt = endedAt_.load(std::memory_order_acquire);
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        Clock::duration((endedAt != 0 ? endedAt : ticksNow()) - startedAt));
}

QString LoadProgressController::statusText() const {
    switch (state()) {
    case State::Completed:
        return tr("Completed!");
    case State::Canceled:
        return tr("Canceled!");
    case State::Failed:
        return tr("Failed!");
    case State::Waiting:
    case State::Loading:
        break;
    }
    return tr("Loading file [%1]").arg(fileName_);
}

void LoadProgressController::readerDidStart(std::uint64_t fileSize) {
    totalBytes_.store(fileSize, std::memory_order_relaxed);
    startedAt_.store(ticksNow(), std::memory_order_release);
    State waiting = State::Waiting; // a cancel may have come first
    state_.compare_exchange_strong(waiting, State::Loading, std::memory_order_acq_rel);
}

void LoadProgressController::readerDidReadBytes(std::uint64_t count) {
    // Only the scanning thread writes, and it does so millions of times: no locked addition.
    readBytes_.store(readBytes_.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

void LoadProgressController::readerDidFinish() {
    end(State::Completed);
}

void LoadProgressController::readerDidCancel() {
    end(State::Canceled);
}

void LoadProgressController::scanDidFail(const std::exception& fault) {
    fault_ = dynamic_cast<const std::bad_alloc*>(&fault)
                 ? tr("Not enough memory to read “%1”. Close other files or programs, then reload it.")
                       .arg(fileName_)
                 : tr("“%1” could not be read to its end: %2. Reload it to try again.")
                       .arg(fileName_, QString::fromLocal8Bit(fault.what()));
    end(State::Failed);
}

void LoadProgressController::end(State last) {
    std::int64_t notEnded = 0;
    endedAt_.compare_exchange_strong(notEnded, ticksNow(), std::memory_order_acq_rel);
    State current = state();
    while ((current == State::Waiting || current == State::Loading) &&
           !state_.compare_exchange_weak(current, last, std::memory_order_acq_rel)) {
    }
}

} // namespace korvane
