#pragma once

#include "support/ChildProcess.h"
#include "support/Listener.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <crypt.h>
#include <sys/stat.h>

namespace korvane::test {

/// Writes a file that the server's user may read. `mode`: WriteOnly or Append.
inline void writeFile(const QString& path, const QByteArray& content,
                      QIODevice::OpenMode mode = QIODevice::WriteOnly) {
    QFile file(path);
    ASSERT_TRUE(file.open(mode)) << path.toStdString();
    ASSERT_EQ(file.write(content), content.size());
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
}

/// The content of a file; empty if there is none.
inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Runs the program to its end, without input and output; returns whether it succeeded.
inline bool runProgram(const QList<QByteArray>& command) {
    ChildProcess program;
    return program.start(command) && program.wait() == 0;
}

/// A port of 127.0.0.1 without a listener.
inline std::uint16_t freePort() {
    return Listener().port();
}
/// An SSH server for the test only, on 127.0.0.1 and a free port, with its own host key and configuration.
/// Its only user is unknown to the system and has the rights of the user who runs the test.
class SshServer {
public:
    enum class Program { OpenSsh, Dropbear };

    /// `settings`: lines of sshd_config, placed before those of the fixture, which they override.
    explicit SshServer(const QByteArray& settings = {}, Program program = Program::OpenSsh)
        : userId_(::getuid() == 0 ? nobodysId : ::getuid()),
          // The user cannot enter directories of root.
          directory_((::getuid() == 0 ? QStringLiteral("/tmp") : QDir::tempPath()) +
                     QStringLiteral("/korvane-sshd-XXXXXX")),
          settings_(settings), program_(program) {
        EXPECT_TRUE(directory_.isValid());
        EXPECT_EQ(::chown(path().toUtf8().constData(), userId_, static_cast<gid_t>(-1)), 0);
        makeHostKey();
        writeFile(path(QStringLiteral("authorized_keys")), {});
        const QByteArray uid = QByteArray::number(userId_);
        const QByteArray gid = QByteArray::number(::getuid() == 0 ? nobodysId : ::getgid());
        // "sshd" is the user for the server's privilege separation.
        writeFile(path(QStringLiteral("passwd")),
                  "tester:x:" + uid + ':' + gid + ":tester:" + path().toUtf8() +
                      ":/bin/sh\nsshd:x:65533:65533::/nonexistent:/bin/false\n");
        writeFile(path(QStringLiteral("group")), "tester:x:" + gid + ":\nsshd:x:65533:\n");
        const char* secret = ::crypt(password().toUtf8().constData(), "$6$korvane$");
        writeFile(path(QStringLiteral("shadow")), "tester:" + QByteArray(secret) + ":19000:0:99999:7:::\n");
        QFile::setPermissions(path(QStringLiteral("shadow")), QFile::ReadOwner | QFile::WriteOwner);
        for (int attempt = 0; attempt < 20; ++attempt) {
            port_ = freePort();
            if (startOnPort())
                return;
        }
        ADD_FAILURE() << "the server does not start:\n" << log().constData();
    }

    ~SshServer() {
        process_.stop();
        if (::testing::Test::HasFailure())
            std::fprintf(stderr, "What the server has written down:\n%s\n", log().constData());
    }

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
                    const QByteArray& passPhrase = {}, const QList<QByteArray>& more = {}) const {
        QString key = path(name);
        if (QFile::exists(key))
            return key;
        const QList<QByteArray> command{"ssh-keygen", "-q", "-t", type, "-N", passPhrase, "-f", key.toUtf8()};
        EXPECT_TRUE(runProgram(command + more)) << key.toStdString();
        writeFile(path(QStringLiteral("authorized_keys")), readFile(key + QStringLiteral(".pub")),
                  QIODevice::Append);
        return key;
    }

    /// Replaces the host key from the next start on.
    void makeHostKey() const {
        const QString key = path(QStringLiteral("host_key"));
        QFile::remove(key);
        QFile::remove(key + QStringLiteral(".pub"));
        EXPECT_TRUE(runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", key.toUtf8()}));
    }

    /// "SHA256:" and the digest.
    QString hostFingerprint() const {
        const QByteArray shown = readFile(path(QStringLiteral("host_key.pub")));
        const QByteArray key = QByteArray::fromBase64(shown.split(' ').value(1));
        return QStringLiteral("SHA256:") +
               QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha256)
                                       .toBase64(QByteArray::OmitTrailingEquals));
    }

    /// These act on the processes of all connections.
    void killConnections() { process_.signalDescendants(SIGKILL); }
    void freezeConnections() { process_.signalDescendants(SIGSTOP); }
    void resumeConnections() { process_.signalDescendants(SIGCONT); }
    std::vector<pid_t> connectionProcesses() const { return process_.descendants(); }
    /// Stops the server and every connection; `start` uses the same port again.
    void stop() { process_.stop(); }
    void start() { ASSERT_TRUE(startOnPort()) << log().constData(); }

    /// Number of successful logins.
    int logins() const {
        const char* const mark = program_ == Program::Dropbear ? " auth succeeded" : "Accepted publickey for";
        return static_cast<int>(log().count(mark));
    }

    /// The server's log.
    QByteArray log() const { return readFile(path(QStringLiteral("log"))); }

private:
    static constexpr uid_t nobodysId = 65532;

    bool startOnPort() {
        if (::getuid() == 0)
            ::mkdir("/run/sshd", 0755); // sshd of root needs it to start
        const QByteArray directory = path().toUtf8();
        const QByteArray wrapper = "libnss_wrapper.so";
        // The server is killed with the test program, however that ends.
        const QList<QByteArray> command =
            QList<QByteArray>{"setpriv", "--pdeathsig", "KILL"} + this->command();
        if (!process_.start(command, {"LD_PRELOAD=" + wrapper, "NSS_WRAPPER_PASSWD=" + directory + "/passwd",
                                      "NSS_WRAPPER_GROUP=" + directory + "/group",
                                      "NSS_WRAPPER_SHADOW=" + directory + "/shadow"}))
            return false;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (process_.isRunning() && std::chrono::steady_clock::now() < end) {
            const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const bool answers = connectToLoopback(connection, port_);
            ::close(connection);
            if (answers)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        process_.stop();
        return false;
    }

    QList<QByteArray> command() const {
        const QByteArray directory = path().toUtf8();
        if (program_ == Program::Dropbear) {
            EXPECT_TRUE(runProgram({"dropbearconvert", "openssh", "dropbear", directory + "/host_key",
                                    directory + "/dropbear_key"}));
            // Dropbear reads the user's keys there.
            QDir(path()).mkdir(QStringLiteral(".ssh"));
            QFile::link(path(QStringLiteral("authorized_keys")),
                        path(QStringLiteral(".ssh/authorized_keys")));
            // -e: child processes need the environment for the user table, too.
            return {"/bin/sh", "-c",
                    "exec /usr/sbin/dropbear -F -E -e -p 127.0.0.1:" + QByteArray::number(port_) + " -r " +
                        directory + "/dropbear_key -P " + directory + "/pid 2>>" + directory + "/log"};
        }
        QByteArray config = settings_ + "\nListenAddress 127.0.0.1\nPort " + QByteArray::number(port_) +
                            "\nHostKey " + directory + "/host_key\nAuthorizedKeysFile " + directory +
                            "/authorized_keys\nPidFile none\nUsePAM no\nStrictModes no\nUseDNS no\n"
                            "MaxStartups 1000\nMaxAuthTries 20\nLogLevel VERBOSE\n";
        if (!settings_.contains("Subsystem"))
            config += "Subsystem sftp internal-sftp\n";
        writeFile(path(QStringLiteral("sshd_config")), config);
        return {"/usr/sbin/sshd", "-D", "-f", directory + "/sshd_config", "-E", directory + "/log"};
    }

    const uid_t userId_;
    const QTemporaryDir directory_;
    const QByteArray settings_;
    const Program program_;
    std::uint16_t port_ = 0;
    ChildProcess process_;
};

} // namespace korvane::test
