#pragma once

#include "foundation/Mutex.h"

#include <QByteArray>

#include <array>
#include <cstddef>
#include <cstdint>

namespace korvane {

/// Logs where and why reading a file has failed: each fault once, until reading has succeeded again. Any
/// thread.
class ReadFaultLog {
public:
    /// `path`: as bytes.
    explicit ReadFaultLog(QByteArray path) : path_(std::move(path)) {}

    /// The task that failed; each is reported separately.
    enum class Task { Scan, Rows };
    /// `error`: an errno.
    void report(Task task, std::uint64_t offset, int error);
    /// Reading has succeeded, or another file is read: the next fault counts as new.
    void forget(Task task);

private:
    struct Fault {
        std::uint64_t offset = 0;
        int error = 0; // 0 for none
        friend bool operator==(const Fault&, const Fault&) = default;
    };

    const QByteArray path_;
    Mutex mutex_;
    std::array<Fault, 2> reported_ GUARDED_BY(mutex_); // by task
};

} // namespace korvane
