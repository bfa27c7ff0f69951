#pragma once

#include "support/ChildProcess.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <cstdint>

namespace korvane::test {

/// A server of the test's own, on 127.0.0.1 and a free port, with its own host key and configuration. It
/// knows one user, who exists nowhere else: for it he has the rights of whoever runs the test.
class SshServer {
public:
    enum class Program { OpenSsh, Dropbear };

    /// `settings`: lines of sshd_config, which go before those of the fixture and so replace them.
    explicit SshServer(const QByteArray& settings = {}, Program program = Program::OpenSsh);
    ~SshServer();
    SshServer(const SshServer&) = delete;
    SshServer& operator=(const SshServer&) = delete;

    static constexpr const char* host = "127.0.0.1";
    std::uint16_t port() const { return port_; }
    QString user() const { return QStringLiteral("tester"); }
    /// The server checks it against its table of secrets, which only root may do.
    static bool takesPasswords();
    QString password() const { return QStringLiteral("open sésame"); }

    /// A directory of the fixture's own, the user's home.
    QString path(const QString& name = {}) const { return directory_.filePath(name); }
    /// Makes a key pair that the server accepts, PATH and PATH.pub; returns PATH.
    /// `type`: as for ssh-keygen, with more of its arguments behind.
    QString makeKey(const QString& name, const QByteArray& type = "ed25519",
                    const QByteArray& passPhrase = {}, const QList<QByteArray>& more = {}) const;

    /// Another one, for the next start.
    void makeHostKey() const;
    /// "SHA256:" and the digest.
    QString hostFingerprint() const;

    /// Of all connections there are: the processes that serve them.
    void killConnections() { process_.signalDescendants(SIGKILL); }
    void freezeConnections() { process_.signalDescendants(SIGSTOP); }
    void resumeConnections() { process_.signalDescendants(SIGCONT); }
    std::vector<pid_t> connectionProcesses() const { return process_.descendants(); }
    /// It, and every connection, is gone afterwards; `start` takes the same port again.
    void stop() { process_.stop(); }
    void start();

    /// How many have succeeded.
    int logins() const;
    /// What the server has written down.
    QByteArray log() const;

private:
    void write(const QString& name, const QByteArray& content) const;
    bool startOnPort();
    QList<QByteArray> command() const;

    const uid_t userId_;
    const QTemporaryDir directory_;
    const QByteArray settings_;
    const Program program_;
    std::uint16_t port_ = 0;
    ChildProcess process_;
};

/// Runs the program to its end; whether it succeeded.
bool runProgram(const QList<QByteArray>& command);

/// A port of 127.0.0.1 that nobody listens at.
std::uint16_t freePort();

} // namespace korvane::test
