#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Programs.h"

#include <QByteArray>
#include <QList>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace korvane {

/// Stands between the library, which waits for the user's agent without an end, and the agent: shows it the
/// keys that it may use, and ends the wait when the agent is late or the connection is no longer wanted.
///
/// Of the connection's thread; a thread of its own passes on what the library asks for.
class AgentRelay {
public:
    /// `interruptEvent` and the deadline end every wait. An agent that takes nobody in is an error.
    static Result<std::unique_ptr<AgentRelay>> connect(const QByteArray& path, int interruptEvent,
                                                       Deadline deadline);
    ~AgentRelay();
    AgentRelay(const AgentRelay&) = delete;
    AgentRelay& operator=(const AgentRelay&) = delete;

    /// The public keys that the agent has, as it names them. Blocks. Not while the library asks.
    Result<QList<QByteArray>> keys();
    /// Where the library finds an agent that has only the keys last offered; the library closes it.
    int takeLibraryEnd();
    void offer(const QList<QByteArray>& keys);
    /// The key that the library last wanted to sign with; empty before.
    QByteArray lastSigned() const;
    /// For the time that the user has taken elsewhere.
    void setDeadline(Deadline deadline) { deadline_ = deadline; }

    /// Whether the agent was given up for being late.
    bool isLate() const { return isLate_; }
    /// Whether nothing more comes from it.
    bool hasEnded() const { return hasEnded_; }

private:
    AgentRelay(int agent, int interruptEvent, Deadline deadline);

    /// Passes on requests until one of the ends is closed.
    void run();
    /// The agent's answer.
    Result<QByteArray> ask(const QByteArray& request);
    /// In the agent's words.
    QByteArray offeredKeys() const;
    void noteSigning(const QByteArray& request);

    const int agent_;
    const int interruptEvent_;
    std::atomic<Deadline> deadline_;
    int ownEnd_ = -1;
    std::atomic<bool> isLate_{false};
    std::atomic<bool> hasEnded_{false};
    std::thread thread_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    QList<QByteArray> offered_;
    QByteArray lastSigned_;
};

} // namespace korvane
