#pragma once

#include "foundation/Mutex.h"
#include "foundation/Result.h"
#include "remote/ssh/Programs.h"

#include <QByteArray>
#include <QList>

#include <atomic>
#include <memory>
#include <thread>

namespace korvane {

/// A relay between the library, which waits for the user's agent without a limit, and the agent: shows the
/// library only the permitted keys, and ends its wait if the agent is late or the connection is no longer
/// wanted.
///
/// Lives on the connection's thread; a thread of its own forwards the library's requests.
class AgentRelay {
public:
    /// Readiness of `interruptEvent` and the deadline end every wait. Fails if the agent refuses the
    /// connection.
    static Result<std::unique_ptr<AgentRelay>> connect(const QByteArray& path, int interruptEvent,
                                                       Deadline deadline);
    ~AgentRelay();
    AgentRelay(const AgentRelay&) = delete;
    AgentRelay& operator=(const AgentRelay&) = delete;

    /// The agent's public keys, in its own encoding. Blocks. Must not be called while the library uses the
    /// agent.
    Result<QList<QByteArray>> keys();
    /// The descriptor of an agent that has only the keys last offered, for the library, which closes it.
    int takeLibraryEnd();
    void offer(const QList<QByteArray>& keys);
    /// The key with which the library last requested a signature; empty before.
    QByteArray lastSigned() const;
    /// Extends the limit by the time that the user took to answer questions.
    void setDeadline(Deadline deadline) { deadline_ = deadline; }

    /// Whether the agent exceeded the deadline.
    bool isLate() const { return isLate_; }
    /// Whether the connection to the agent has ended.
    bool hasEnded() const { return hasEnded_; }

private:
    AgentRelay(int agent, int interruptEvent, Deadline deadline);

    /// Forwards requests until one of the ends is closed.
    void run();
    /// Sends a request and returns the agent's answer.
    Result<QByteArray> ask(const QByteArray& request);
    /// The offered keys as an answer of the agent.
    QByteArray offeredKeys() const;
    void noteSigning(const QByteArray& request);

    const int agent_;
    const int interruptEvent_;
    std::atomic<Deadline> deadline_;
    int ownEnd_ = -1;
    std::atomic<bool> isLate_{false};
    std::atomic<bool> hasEnded_{false};
    std::thread thread_;

    mutable Mutex mutex_;
    QList<QByteArray> offered_ GUARDED_BY(mutex_);
    QByteArray lastSigned_ GUARDED_BY(mutex_);
};

} // namespace korvane
