#include "remote/ssh/Askpass.h"

#include "remote/ssh/SshError.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace korvane {
namespace {

/// Environment variable with the socket for questions; see `Askpass::askWhereWanted`.
constexpr const char* socketVariable = "KORVANE_ASKPASS";
/// Set by programs whose question is not for a secret.
constexpr const char* kindVariable = "SSH_ASKPASS_PROMPT";
/// Maximum size of a question, in bytes.
constexpr qsizetype longestQuestion = 1 << 14;
/// Marks an answer, before its text.
constexpr char answered = '+';

bool addressOf(std::string_view path, sockaddr_un& address) {
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::copy(path.begin(), path.end(), address.sun_path);
    return true;
}

/// Sends all bytes to a blocking descriptor.
bool sendAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR)
            return false;
        bytes.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
    return true;
}

/// Receives until the other side stops sending.
std::string receiveAll(int descriptor) {
    std::string all;
    std::array<char, 1024> piece;
    for (;;) {
        const ssize_t size = ::recv(descriptor, piece.data(), piece.size(), 0);
        if (size > 0)
            all.append(piece.data(), static_cast<std::size_t>(size));
        else if (size == 0 || errno != EINTR)
            return all;
    }
}

} // namespace

Result<std::unique_ptr<Askpass>> Askpass::create() {
    for (const QString& directory : {qEnvironmentVariable("XDG_RUNTIME_DIR"), QDir::tempPath()}) {
        if (directory.isEmpty())
            continue;
        std::unique_ptr<Askpass> made(new Askpass(directory + QStringLiteral("/korvane-ask-XXXXXX")));
        if (made->listen())
            return made;
    }
    return sshError(SshErrorCode::Failed,
                    SshTexts::tr("There is no directory for the questions of a program: %1.")
                        .arg(QString::fromLocal8Bit(std::strerror(errno))));
}

Askpass::~Askpass() = default;

QByteArray Askpass::socketPath() const {
    return QFile::encodeName(directory_.filePath(QStringLiteral("socket")));
}

Status Askpass::listen() {
    sockaddr_un address{};
    if (!directory_.isValid())
        return systemError(errno);
    if (!addressOf(socketPath().toStdString(), address))
        return systemError(ENAMETOOLONG);
    listener_ = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (::bind(listener_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_.number(), SOMAXCONN) != 0)
        return systemError(errno);
    return success();
}

QList<QByteArray> Askpass::environment() const {
    // By process, as an update may have put another version at the path of the executable.
    return {"SSH_ASKPASS=/proc/" + QByteArray::number(::getpid()) + "/exe", "SSH_ASKPASS_REQUIRE=force",
            socketVariable + ('=' + socketPath())};
}

Result<std::optional<Askpass::Question>> Askpass::takeQuestion(int interruptEvent, Deadline deadline) {
    asker_ = Descriptor(::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!asker_.isOpen())
        return std::optional<Question>();
    QByteArray bytes;
    std::array<char, 4096> piece;
    for (;;) {
        if (const Status ready = awaitDescriptor(asker_.number(), POLLIN, interruptEvent, deadline); !ready)
            return ready.error();
        const ssize_t size = ::recv(asker_.number(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (size == 0)
            break;
        if (size < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        bytes.append(piece.data(), std::max<ssize_t>(size, 0));
        if (size < 0 || bytes.size() > longestQuestion) {
            asker_.close();
            return std::optional<Question>();
        }
    }
    const qsizetype kindEnd = bytes.indexOf('\0');
    Question question;
    question.text = readableText(bytes.mid(kindEnd + 1));
    if (bytes.left(kindEnd) == "confirm")
        question.text += QStringLiteral(" (yes/no)");
    // There is no other sign that the answer is not a secret; ssh uses this form to confirm a server's key.
    question.isEchoed = question.text.contains(QStringLiteral("(yes/no"));
    return std::optional(question);
}

void Askpass::answer(const std::optional<QString>& text) {
    // The asking process may have been killed meanwhile.
    if (text)
        static_cast<void>(sendAll(asker_.number(), answered + text->toLocal8Bit().toStdString()));
    asker_.close();
}

std::optional<int> Askpass::askWhereWanted(int argc, char** argv) {
    const char* const path = std::getenv(socketVariable);
    if (!path || !*path)
        return std::nullopt;
    const char* const kind = std::getenv(kindVariable);
    // A notice, which the program withdraws itself.
    if (kind && std::strcmp(kind, "none") == 0)
        return EXIT_SUCCESS;
    sockaddr_un address{};
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!addressOf(path, address) ||
        ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return EXIT_FAILURE;
    std::string question = kind ? kind : "";
    question += '\0';
    question += argc > 1 ? argv[1] : "";
    if (!sendAll(socket.number(), question))
        return EXIT_FAILURE;
    ::shutdown(socket.number(), SHUT_WR);
    std::string answer = receiveAll(socket.number());
    if (answer.empty() || answer.front() != answered)
        return EXIT_FAILURE;
    answer.erase(0, 1);
    answer += '\n';
    return ::write(STDOUT_FILENO, answer.data(), answer.size()) == static_cast<ssize_t>(answer.size())
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}

} // namespace korvane
