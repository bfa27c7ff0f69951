#include "remote/ssh/AgentRelay.h"

#include "remote/ssh/SshError.h"

#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace korvane {
namespace {

// Message numbers of the agent protocol.
constexpr char requestIdentities = 11;
constexpr char identitiesAnswer = 12;
constexpr char signRequest = 13;
/// Maximum size of a message, in bytes.
constexpr quint32 messageLimit = 1 << 20;

constexpr auto endless = Deadline::max();

QByteArray number(quint32 value) {
    QByteArray bytes(sizeof value, 0);
    qToBigEndian(value, bytes.data());
    return bytes;
}

/// A text preceded by its length.
QByteArray counted(const QByteArray& text) {
    return number(static_cast<quint32>(text.size())) + text;
}

/// Removes the text from the front; empty if the bytes do not hold all of it.
QByteArray takeCounted(QByteArray& bytes) {
    const quint32 size = bytes.size() < 4 ? 0 : qFromBigEndian<quint32>(bytes.constData());
    QByteArray text = bytes.mid(4, size);
    bytes.remove(0, 4 + static_cast<qsizetype>(size));
    return text;
}

Error agentHasLeft() {
    return sshError(SshErrorCode::Failed, SshTexts::tr("The SSH agent has ended the connection."));
}

/// Reads exactly `size` bytes. The descriptor is non-blocking.
Result<QByteArray> readAll(int descriptor, quint32 size, int interruptEvent, Deadline deadline) {
    QByteArray bytes(static_cast<qsizetype>(size), 0);
    for (qsizetype have = 0; have < bytes.size();) {
        const ssize_t got = ::recv(descriptor, bytes.data() + have,
                                   static_cast<std::size_t>(bytes.size() - have), MSG_DONTWAIT);
        if (got > 0) {
            have += got;
            continue;
        }
        if (got == 0 || (errno != EAGAIN && errno != EINTR))
            return agentHasLeft();
        if (const Status ready = awaitDescriptor(descriptor, POLLIN, interruptEvent, deadline); !ready)
            return ready.error();
    }
    return bytes;
}

Result<QByteArray> readMessage(int descriptor, int interruptEvent, Deadline deadline) {
    const Result<QByteArray> head = readAll(descriptor, 4, interruptEvent, deadline);
    if (!head)
        return head.error();
    const auto size = qFromBigEndian<quint32>(head.value().constData());
    if (size > messageLimit)
        return agentHasLeft();
    return readAll(descriptor, size, interruptEvent, deadline);
}

Status writeMessage(int descriptor, const QByteArray& message, int interruptEvent, Deadline deadline) {
    const QByteArray bytes = counted(message);
    for (qsizetype written = 0; written < bytes.size();) {
        const ssize_t taken =
            ::send(descriptor, bytes.constData() + written, static_cast<std::size_t>(bytes.size() - written),
                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken >= 0) {
            written += taken;
            continue;
        }
        if (errno != EAGAIN && errno != EINTR)
            return agentHasLeft();
        if (Status ready = awaitDescriptor(descriptor, POLLOUT, interruptEvent, deadline); !ready)
            return ready;
    }
    return success();
}

} // namespace

Result<std::unique_ptr<AgentRelay>> AgentRelay::connect(const QByteArray& path, int interruptEvent,
                                                        Deadline deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.isEmpty() || path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return systemError(ENAMETOOLONG);
    std::copy(path.begin(), path.end(), address.sun_path);
    const int agent = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (agent < 0)
        return systemError(errno);
    if (::connect(agent, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int fault = errno;
        ::close(agent);
        return systemError(fault);
    }
    return std::unique_ptr<AgentRelay>(new AgentRelay(agent, interruptEvent, deadline));
}

AgentRelay::AgentRelay(int agent, int interruptEvent, Deadline deadline)
    : agent_(agent), interruptEvent_(interruptEvent), deadline_(deadline) {}

AgentRelay::~AgentRelay() {
    if (thread_.joinable()) {
        // Ends both of the thread's waits.
        ::shutdown(ownEnd_, SHUT_RDWR);
        ::shutdown(agent_, SHUT_RDWR);
        thread_.join();
    }
    for (const int descriptor : {ownEnd_, agent_}) {
        if (descriptor >= 0)
            ::close(descriptor);
    }
}

Result<QByteArray> AgentRelay::ask(const QByteArray& request) {
    const Deadline deadline = deadline_;
    const Status sent = writeMessage(agent_, request, interruptEvent_, deadline);
    Result<QByteArray> answer =
        sent ? readMessage(agent_, interruptEvent_, deadline) : Result<QByteArray>(sent.error());
    if (answer)
        return answer;
    isLate_ = isLate_ || isSshError(answer.error(), SshErrorCode::TimedOut);
    hasEnded_ = true;
    return answer;
}

Result<QList<QByteArray>> AgentRelay::keys() {
    const Result<QByteArray> answer = ask(QByteArray(1, requestIdentities));
    if (!answer)
        return answer.error();
    QList<QByteArray> keys;
    QByteArray rest = answer.value();
    if (!rest.startsWith(identitiesAnswer) || rest.size() < 5)
        return keys;
    rest.remove(0, 5); // and the number of keys
    while (!rest.isEmpty()) {
        keys.append(takeCounted(rest));
        takeCounted(rest); // the comment on the key
    }
    return keys;
}

int AgentRelay::takeLibraryEnd() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        hasEnded_ = true;
        return -1;
    }
    ownEnd_ = ends[0];
    thread_ = std::thread([this] { run(); });
    return ends[1];
}

void AgentRelay::offer(const QList<QByteArray>& keys) {
    const MutexLock guard(mutex_);
    offered_ = keys;
}

QByteArray AgentRelay::lastSigned() const {
    const MutexLock guard(mutex_);
    return lastSigned_;
}

QByteArray AgentRelay::offeredKeys() const {
    const MutexLock guard(mutex_);
    QByteArray answer = QByteArray(1, identitiesAnswer) + number(static_cast<quint32>(offered_.size()));
    for (const QByteArray& key : offered_)
        answer += counted(key) + counted({});
    return answer;
}

void AgentRelay::noteSigning(const QByteArray& request) {
    if (!request.startsWith(signRequest))
        return;
    QByteArray rest = request.mid(1);
    const MutexLock guard(mutex_);
    lastSigned_ = takeCounted(rest);
}

void AgentRelay::run() {
    for (;;) {
        const Result<QByteArray> request = readMessage(ownEnd_, interruptEvent_, endless);
        if (!request)
            break;
        noteSigning(request.value());
        const Result<QByteArray> answer =
            request.value().startsWith(requestIdentities) ? offeredKeys() : ask(request.value());
        if (!answer || !writeMessage(ownEnd_, answer.value(), interruptEvent_, endless))
            break;
    }
    hasEnded_ = true;
    // Ends the library's wait, too.
    ::shutdown(ownEnd_, SHUT_RDWR);
}

} // namespace korvane
