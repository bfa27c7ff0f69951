#pragma once

#include <functional>
#include <memory>
#include <stop_token>

namespace korvane {

/// The threads that scan files, shared by all documents: at most one per processor core. The most urgent
/// scans run first, those of equal priority in turn. A thread held up by a file system is not counted when
/// another scan needs a thread. Threads start when there is work and end when there is none. Any thread.
class ScanPool {
public:
    /// Most urgent first.
    enum class Priority : unsigned char {
        Visible,   ///< for the rows on the screen
        Requested, ///< for other requests of the user
        Background,
    };

    /// The next piece of a scan, of a few milliseconds, so that more urgent scans can run in between. Returns
    /// true while there is more to do. Called on a thread of the pool, never on two at once.
    using Step = std::function<bool(const std::stop_token&)>;

    /// Handle of a scan; cancels it when destroyed.
    class Scan {
    public:
        Scan() = default;
        ~Scan() { cancel(); }
        Scan(Scan&&) = default;
        Scan& operator=(Scan&& other) noexcept;
        Scan(const Scan&) = delete;
        Scan& operator=(const Scan&) = delete;

        /// Requests a running step to stop, without waiting for it; no other step begins after the return.
        /// Objects that the step captures are released at once, or when the running step has ended.
        void cancel();
        void setPriority(Priority priority);
        bool isUnderWay() const;

    private:
        friend class ScanPool;
        struct Job;

        std::shared_ptr<Job> job_;
    };

    enum class Threads : unsigned char {
        Normal,
        GiveWay, ///< to all other work that the user waits for
    };

    static ScanPool& shared();
    /// The pool for the first scans of documents; its threads give way.
    static ScanPool& ofLoads();

    /// `threads`: maximum number of concurrent steps; 0 for one per core.
    explicit ScanPool(unsigned threads = 0, Threads kind = Threads::Normal);
    /// Does not wait: scans end with their running step.
    ~ScanPool();
    ScanPool(const ScanPool&) = delete;
    ScanPool& operator=(const ScanPool&) = delete;

    /// An exception of a library ends the scan and is logged.
    [[nodiscard]] Scan start(Priority priority, Step step);

    /// Whether a scan of this priority or a higher one is waiting.
    bool isWaitedFor(Priority priority) const;

private:
    struct State;

    const std::shared_ptr<State> state_;
};

} // namespace korvane
