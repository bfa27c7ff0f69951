#include "support/SshServer.h"

#include "support/Listener.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <chrono>
#include <crypt.h>
#include <sys/stat.h>
#include <thread>

namespace korvane::test {
namespace {

using namespace std::chrono_literals;

constexpr uid_t nobodysId = 65532;

} // namespace

void writeFile(const QString& path, const QByteArray& content, QIODevice::OpenMode mode) {
    QFile file(path);
    ASSERT_TRUE(file.open(mode)) << path.toStdString();
    ASSERT_EQ(file.write(content), content.size());
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool runProgram(const QList<QByteArray>& command) {
    ChildProcess program;
    return program.start(command) && program.wait() == 0;
}

std::uint16_t freePort() {
    return Listener().port();
}

SshServer::SshServer(const QByteArray& settings, Program program)
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
    writeFile(path(QStringLiteral("passwd")), "tester:x:" + uid + ':' + gid + ":tester:" + path().toUtf8() +
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

SshServer::~SshServer() {
    process_.stop();
    if (::testing::Test::HasFailure())
        std::fprintf(stderr, "What the server has written down:\n%s\n", log().constData());
}

void SshServer::makeHostKey() const {
    const QString key = path(QStringLiteral("host_key"));
    QFile::remove(key);
    QFile::remove(key + QStringLiteral(".pub"));
    EXPECT_TRUE(runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", key.toUtf8()}));
}

QString SshServer::hostFingerprint() const {
    const QByteArray shown = readFile(path(QStringLiteral("host_key.pub")));
    const QByteArray key = QByteArray::fromBase64(shown.split(' ').value(1));
    return QStringLiteral("SHA256:") +
           QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha256)
                                   .toBase64(QByteArray::OmitTrailingEquals));
}

void SshServer::start() {
    ASSERT_TRUE(startOnPort()) << log().constData();
}

QList<QByteArray> SshServer::command() const {
    const QByteArray directory = path().toUtf8();
    if (program_ == Program::Dropbear) {
        EXPECT_TRUE(runProgram({"dropbearconvert", "openssh", "dropbear", directory + "/host_key",
                                directory + "/dropbear_key"}));
        // Dropbear reads the user's keys there.
        QDir(path()).mkdir(QStringLiteral(".ssh"));
        QFile::link(path(QStringLiteral("authorized_keys")), path(QStringLiteral(".ssh/authorized_keys")));
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

bool SshServer::startOnPort() {
    if (::getuid() == 0)
        ::mkdir("/run/sshd", 0755); // sshd of root needs it to start
    const QByteArray directory = path().toUtf8();
    const QByteArray wrapper = "libnss_wrapper.so";
    // The server is killed with the test program, however that ends.
    const QList<QByteArray> command = QList<QByteArray>{"setpriv", "--pdeathsig", "KILL"} + this->command();
    if (!process_.start(command, {"LD_PRELOAD=" + wrapper, "NSS_WRAPPER_PASSWD=" + directory + "/passwd",
                                  "NSS_WRAPPER_GROUP=" + directory + "/group",
                                  "NSS_WRAPPER_SHADOW=" + directory + "/shadow"}))
        return false;
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (process_.isRunning() && std::chrono::steady_clock::now() < end) {
        const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool answers = connectToLoopback(connection, port_);
        ::close(connection);
        if (answers)
            return true;
        std::this_thread::sleep_for(2ms);
    }
    process_.stop();
    return false;
}

QString SshServer::makeKey(const QString& name, const QByteArray& type, const QByteArray& passPhrase,
                           const QList<QByteArray>& more) const {
    const QString key = path(name);
    if (QFile::exists(key))
        return key;
    const QList<QByteArray> command{"ssh-keygen", "-q", "-t", type, "-N", passPhrase, "-f", key.toUtf8()};
    EXPECT_TRUE(runProgram(command + more)) << key.toStdString();
    writeFile(path(QStringLiteral("authorized_keys")), readFile(key + QStringLiteral(".pub")),
              QIODevice::Append);
    return key;
}

int SshServer::logins() const {
    const char* const mark = program_ == Program::Dropbear ? " auth succeeded" : "Accepted publickey for";
    return static_cast<int>(log().count(mark));
}

} // namespace korvane::test
