#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Askpass.h"
#include "remote/ssh/SshConfiguration.h"

#include <QString>

#include <atomic>
#include <memory>
#include <sys/types.h>

namespace korvane {

/// Makes the way to a server: a TCP connection, or a program that leads there. Every wait can be interrupted
/// from any thread at any time. Descriptors that it returns belong to the caller.
class ServerSocket {
public:
    ServerSocket();
    ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    /// Blocks; once. Where the configuration names a command, its standard input and output are the way.
    Result<int> connect(const SshConfiguration& configuration, Deadline deadline);
    /// The last lines that the program has written to its standard error; empty when there are none.
    QString programsFault();
    /// Where the program asks what only the user knows; null where no program leads to the server.
    Askpass* askpass() const { return askpass_.get(); }
    /// Once the server is reached: whatever the program still asks gets no answer.
    void endQuestions() { askpass_.reset(); }

    /// Readable from the interruption on; for waits elsewhere that end with it.
    int interruptEvent() const { return interruptEvent_; }

    /// Ends the program that leads to the server, if there is one; waits half a second at most.
    void endProgram();
    /// What waits here for a server fails from now on. Any thread; does not wait.
    void interrupt();

private:
    Result<int> connectDirectly(const SshConfiguration& configuration, Deadline deadline);
    Result<int> connectThrough(const QString& command);

    const int interruptEvent_;
    std::atomic<bool> isInterrupted_{false};
    pid_t program_ = -1;
    int programsErrors_ = -1;
    std::unique_ptr<Askpass> askpass_;
};

} // namespace korvane
