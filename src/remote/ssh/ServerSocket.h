#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Askpass.h"
#include "remote/ssh/SshConfiguration.h"

#include <QString>

#include <atomic>
#include <memory>
#include <sys/types.h>

namespace korvane {

/// The transport to a server: a TCP connection, or a program that connects. Every wait can be interrupted
/// from any thread at any time. The caller owns the returned descriptors.
class ServerSocket {
public:
    ServerSocket();
    ~ServerSocket();
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    /// Blocks; call once. If the configuration names a command, the connection uses its standard input and
    /// output.
    Result<int> connect(const SshConfiguration& configuration, Deadline deadline);
    /// The last lines that the program wrote to its standard error; may be empty.
    QString programsFault();
    /// Receives the program's questions to the user; null if there is no program.
    Askpass* askpass() const { return askpass_.get(); }
    /// Call once the server is reached: later questions of the program get no answer.
    void endQuestions() { askpass_.reset(); }

    /// Readable once interrupted; for waits elsewhere that end with it.
    int interruptEvent() const { return interruptEvent_; }

    /// Ends the program, if there is one; waits half a second at most.
    void endProgram();
    /// From now on every wait here fails. Any thread; does not wait.
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
