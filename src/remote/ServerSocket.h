#pragma once

#include "foundation/Result.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <sys/types.h>

namespace korvane {

/// The way to a server: a TCP connection, or a program that leads there. It can be cut off from any thread
/// at any time, also while it is being made.
class ServerSocket {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    ServerSocket();
    ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    /// A descriptor that the caller owns. Blocks; one of the two, once.
    Result<int> connect(const QString& host, std::uint16_t port, Deadline deadline);
    /// `command` is for the shell, and the way to the server is its standard input and output.
    Result<int> connectThrough(const QString& command);

    /// Everything that waits for the server fails from now on. Any thread; does not wait.
    void cut();

private:
    Result<int> keep(int descriptor);
    bool isCut() const;

    /// Readable from the cut on.
    const int cutEvent_;
    pid_t program_ = -1;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    bool isCut_ = false;
    /// Our own of the connection: whoever owns the other may close it at any time.
    int descriptor_ = -1;
};

} // namespace korvane
