#pragma once

#include "support/Listener.h"

#include <QList>
#include <QString>

#include <atomic>
#include <libssh/libssh.h>
#include <libssh/server.h>
#include <mutex>
#include <thread>
#include <vector>

namespace korvane::test {

/// An SSH server inside the test that asks questions at the login, and runs commands.
class KeyboardServer {
public:
    struct Prompt {
        QByteArray text;
        bool isEchoed = false;
        /// The right answer.
        QByteArray answer;
    };
    struct Round {
        QByteArray instruction;
        QList<Prompt> prompts;
    };

    /// Whether the password alone is enough.
    enum class Password { Enough, First };

    /// Also accepts a password without questions, if one is given.
    explicit KeyboardServer(QList<Round> rounds, QByteArray password = {}, Password kind = Password::Enough);
    ~KeyboardServer();
    KeyboardServer(const KeyboardServer&) = delete;
    KeyboardServer& operator=(const KeyboardServer&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Number of successful logins.
    int logins() const { return logins_; }
    /// Number of wrong proofs.
    int refusals() const { return refusals_; }
    /// Closes all connections.
    void cutConnections();

private:
    struct Login {
        qsizetype round = 0;
        bool isDone = false;
    };
    void accept();
    void serve(int socket);
    void answer(ssh_session session, ssh_message message, Login& login);
    void ask(ssh_message message, const Round& round);
    bool areRight(ssh_session session, const Round& round);
    void run(ssh_message message);

    const QList<Round> rounds_;
    const QByteArray password_;
    const Password passwordKind_;
    const Listener listener_;
    const ssh_bind bind_;
    std::atomic<int> logins_{0};
    std::atomic<int> refusals_{0};
    std::jthread acceptor_;

    std::mutex mutex_;
    // Guarded by mutex_.
    std::vector<int> sockets_;
    std::vector<std::jthread> connections_;
};

} // namespace korvane::test
