#pragma once

#include "support/ChildProcess.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QTemporaryDir>

#include <cstdint>

namespace korvane::test {

/// Writes a file that the server's user may read. `mode`: WriteOnly or Append.
void writeFile(const QString& path, const QByteArray& content,
               QIODevice::OpenMode mode = QIODevice::WriteOnly);
/// The content of a file; empty if there is none.
QByteArray readFile(const QString& path);

/// An SSH server for the test only, on 127.0.0.1 and a free port, with its own host key and configuration.
/// Its only user is unknown to the system and has the rights of the user who runs the test.
class SshServer {
public:
    enum class Program { OpenSsh, Dropbear };

    /// `settings`: lines of sshd_config, placed before those of the fixture, which they override.
    explicit SshServer(const QByteArray& settings = {}, Program program = Program::OpenSsh);
    ~SshServer();
    SshServer(const SshServer&) = delete;
    SshServer& operator=(const SshServer&) = delete;

    static constexpr const char* host = "127.0.0.1";
    std::uint16_t port() const { return port_; }
    QString user() const { return QStringLiteral("tester"); }
    /// Passwords are checked against the shadow file, which only root may do.
    static bool takesPasswords() { return ::getuid() == 0; }
    QString password() const { return QStringLiteral("open sésame"); }

    /// A path in the fixture's directory, which is the user's home.
    QString path(const QString& name = {}) const { return directory_.filePath(name); }
    /// Creates a key pair that the server accepts, PATH and PATH.pub, unless it exists; returns PATH. `type`:
    /// as for ssh-keygen; `more`: further arguments of it.
    QString makeKey(const QString& name, const QByteArray& type = "ed25519",
                    const QByteArray& passPhrase = {}, const QList<QByteArray>& more = {}) const;

    /// Replaces the host key from the next start on.
    void makeHostKey() const;
    /// "SHA256:" and the digest.
    QString hostFingerprint() const;

    /// These act on the processes of all connections.
    void killConnections() { process_.signalDescendants(SIGKILL); }
    void freezeConnections() { process_.signalDescendants(SIGSTOP); }
    void resumeConnections() { process_.signalDescendants(SIGCONT); }
    std::vector<pid_t> connectionProcesses() const { return process_.descendants(); }
    /// Stops the server and every connection; `start` uses the same port again.
    void stop() { process_.stop(); }
    void start();

    /// Number of successful logins.
    int logins() const;
    /// The server's log.
    QByteArray log() const { return readFile(path(QStringLiteral("log"))); }

private:
    bool startOnPort();
    QList<QByteArray> command() const;

    const uid_t userId_;
    const QTemporaryDir directory_;
    const QByteArray settings_;
    const Program program_;
    std::uint16_t port_ = 0;
    ChildProcess process_;
};

/// Runs the program to its end, without input and output; returns whether it succeeded.
bool runProgram(const QList<QByteArray>& command);

/// A port of 127.0.0.1 without a listener.
std::uint16_t freePort();

} // namespace korvane::test
