#pragma once

#include <atomic>

namespace korvane {

/// Forwards the SSH library's log to the system log. Any thread.
class NMSSHLogger {
public:
    static NMSSHLogger& sharedLogger();

    void setEnabled(bool value) { isEnabled_.store(value, std::memory_order_relaxed); }
    bool isEnabled() const { return isEnabled_.load(std::memory_order_relaxed); }

    /// The library's log level is per thread: call this regularly on threads that use the library.
    void applyToThisThread() const;

private:
    NMSSHLogger() = default;

    std::atomic<bool> isEnabled_{false};
};

} // namespace korvane
