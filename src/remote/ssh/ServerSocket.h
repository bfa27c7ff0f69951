#pragma once

#include "foundation/Result.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
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
    /// The way to the user's agent, likewise; cut with the other one, and by `cutLateAgent` after the
    /// deadline.
    Result<int> connectToAgent(const QByteArray& path, Deadline deadline);
    /// Whether the agent has been cut off for being late. Any thread; does not wait.
    bool cutLateAgent();
    /// The agent has done its work: no deadline is left.
    void agentAnswered();

    /// Everything that waits for the server fails from now on. Any thread; does not wait.
    void cut();

private:
    /// `own` becomes another descriptor of the same.
    Result<int> keep(int descriptor, int& own);
    bool isCut() const;

    /// Readable from the cut on.
    const int cutEvent_;
    pid_t program_ = -1;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    bool isCut_ = false;
    /// Our own of the connection: whoever owns the other may close it at any time.
    int descriptor_ = -1;
    int agent_ = -1;
    std::optional<Deadline> agentDeadline_;
    bool isAgentLate_ = false;
};

} // namespace korvane
