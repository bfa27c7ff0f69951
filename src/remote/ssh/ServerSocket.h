#pragma once

#include "foundation/Result.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <sys/types.h>

namespace korvane {

/// Makes the way to a server: a TCP connection, or a program that leads there. Every wait can be interrupted
/// from any thread at any time. Descriptors that it returns belong to the caller.
class ServerSocket {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    ServerSocket();
    ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    /// Blocks; one of the two, once.
    Result<int> connect(const QString& host, std::uint16_t port, Deadline deadline);
    /// `command` is for the shell, and the way to the server is its standard input and output.
    Result<int> connectThrough(const QString& command);
    /// The way to the user's agent, which is cut by `interrupt`, and by `cutLateAgent` after the deadline.
    Result<int> connectToAgent(const QByteArray& path, Deadline deadline);
    /// Whether the agent has been cut off for being late. Any thread; does not wait.
    bool cutLateAgent();
    /// The agent has done its work: no deadline is left.
    void agentAnswered();

    /// Ends the program that leads to the server, if there is one; waits half a second at most.
    void endProgram();
    /// What waits here for a server or for the agent fails from now on. Any thread; does not wait.
    void interrupt();

private:
    bool isInterrupted() const;

    /// Readable from the interruption on.
    const int interruptEvent_;
    pid_t program_ = -1;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    bool isInterrupted_ = false;
    /// A descriptor of our own, as the library may close the other at any time.
    int agent_ = -1;
    std::optional<Deadline> agentDeadline_;
    bool isAgentLate_ = false;
};

} // namespace korvane
