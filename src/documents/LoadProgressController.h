#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QCoreApplication>
#include <QString>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>

namespace korvane {

/// Progress of a scan, for display. The reader reports on the scanning thread; every getter may be called
/// from any thread at any time.
class LoadProgressController : public LogReaderDelegate {
    Q_DECLARE_TR_FUNCTIONS(korvane::LoadProgressController)

public:
    enum class State { Waiting, Loading, Completed, Canceled, Failed };

    explicit LoadProgressController(QString fileName);

    State state() const { return state_.load(std::memory_order_acquire); }
    /// Bytes to read, as known at the start of the scan, and bytes read so far.
    std::uint64_t totalBytes() const { return totalBytes_.load(std::memory_order_relaxed); }
    std::uint64_t readBytes() const { return readBytes_.load(std::memory_order_relaxed); }
    /// Duration of the scan; zero before it starts, constant after it has ended.
    std::chrono::milliseconds elapsed() const;
    /// "Loading file [NAME]" while waiting or loading, then "Completed!", "Canceled!" or "Failed!".
    QString statusText() const;
    /// Why it has failed and the remedy; empty when it has not.
    QString fault() const { return state() == State::Failed ? fault_ : QString(); }

    void readerDidStart(std::uint64_t fileSize) override;
    void readerDidReadBytes(std::uint64_t count) override;
    void readerDidFinish() override;
    /// Any thread: also called by the code that cancels. Only the first end counts.
    void readerDidCancel() override;
    /// The scan ended by an exception. Called once, on the scanning thread.
    void scanDidFail(const std::exception& fault);

private:
    void end(State last);

    const QString fileName_;
    std::atomic<State> state_{State::Waiting};
    QString fault_; // written before the state
    std::atomic<std::uint64_t> totalBytes_{0};
    std::atomic<std::uint64_t> readBytes_{0};
    /// Steady-clock ticks; 0 = not yet.
    std::atomic<std::int64_t> startedAt_{0};
    std::atomic<std::int64_t> endedAt_{0};
};

} // namespace korvane
