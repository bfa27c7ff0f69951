#pragma once

#include <atomic>

namespace korvane {

/// The SSH library's own log, which goes to the system log. Any thread.
class NMSSHLogger {
public:
    static NMSSHLogger& sharedLogger();

    void setEnabled(bool value) { isEnabled_.store(value, std::memory_order_relaxed); }
    bool isEnabled() const { return isEnabled_.load(std::memory_order_relaxed); }

    /// The library keeps its switch for each thread: those that use it call this now and then.
    void applyToThisThread() const;

private:
    NMSSHLogger() = default;

    std::atomic<bool> isEnabled_{false};
};

} // namespace korvane
