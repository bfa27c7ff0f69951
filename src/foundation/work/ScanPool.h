#pragma once

#include <functional>
#include <memory>
#include <stop_token>

namespace korvane {

/// The threads that scan files, shared by all documents: at most one a processor core. The most urgent scans
/// run first, and those of one priority in turn. A thread that a file system holds is not counted when the
/// next scan needs one. Threads start when there is work and end when there is none. Any thread.
class ScanPool {
public:
    /// In the order of urgency.
    enum class Priority : unsigned char {
        Visible,   ///< the rows on the screen wait for it
        Requested, ///< the user waits for it
        Background,
    };

    /// The next piece of a scan, of a few milliseconds, so that more urgent ones get their turn. True while
    /// there is more to do. Called on a thread of the pool, never on two at once.
    using Step = std::function<bool(const std::stop_token&)>;

    /// A scan that somebody waits for; its end cancels it.
    class Scan {
    public:
        Scan() = default;
        ~Scan() { cancel(); }
        Scan(Scan&&) = default;
        Scan& operator=(Scan&& other) noexcept;
        Scan(const Scan&) = delete;
        Scan& operator=(const Scan&) = delete;

        /// No step begins any more once this has returned, and one under way is asked to stop; it does not
        /// wait for it. What the step holds is released at once, or when the one under way has ended.
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
        GiveWay, ///< to all else that the user waits for
    };

    static ScanPool& shared();
    /// Where documents read their files for the first time; its threads give way.
    static ScanPool& ofLoads();

    /// `threads`: how many steps run at once; 0 for one a core.
    explicit ScanPool(unsigned threads = 0, Threads kind = Threads::Normal);
    /// Waits for nothing: scans end with the step under way.
    ~ScanPool();
    ScanPool(const ScanPool&) = delete;
    ScanPool& operator=(const ScanPool&) = delete;

    /// An exception of a library ends the scan; the log says so.
    [[nodiscard]] Scan start(Priority priority, Step step);

    /// Whether a scan of this urgency or a higher one waits for its turn.
    bool isWaitedFor(Priority priority) const;

private:
    struct State;

    const std::shared_ptr<State> state_;
};

} // namespace korvane
