#include "app/SingleInstance.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <utility>

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto retryInterval = 10ms;
constexpr int backlog = 16;
/// For the owner only; the sticky bit keeps cleaners of the runtime directory from removing the file.
constexpr mode_t fileMode = 01600;

Descriptor makeSocket() {
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Precondition: the path fits, as an InstancePlace's does.
sockaddr_un addressOf(const QByteArray& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    return address;
}

Descriptor connectTo(const QByteArray& path) {
    Descriptor socket = makeSocket();
    const sockaddr_un address = addressOf(path);
    if (!socket.isOpen() ||
        ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Descriptor();
    return socket;
}

/// Whether the socket becomes ready for one of the events in time; an error counts as ready.
bool waitUntilReady(int socket, short events, Clock::time_point end) {
    for (;;) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd polled{socket, events, 0};
        const int ready = ::poll(&polled, 1, static_cast<int>(std::max(rest, 0ms).count()));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

/// Sends the bytes, with the descriptors beside the first of them.
ssize_t sendSome(int socket, QByteArrayView bytes, const std::vector<int>& descriptors) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): sendmsg only reads the bytes.
    iovec part{const_cast<char*>(bytes.data()), static_cast<std::size_t>(bytes.size())};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    const std::size_t size = descriptors.size() * sizeof(int);
    std::vector<char> control(CMSG_SPACE(size));
    if (size > 0) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr* beside = CMSG_FIRSTHDR(&header);
        beside->cmsg_level = SOL_SOCKET;
        beside->cmsg_type = SCM_RIGHTS;
        beside->cmsg_len = CMSG_LEN(size);
        std::memcpy(CMSG_DATA(beside), descriptors.data(), size);
    }
    return ::sendmsg(socket, &header, MSG_NOSIGNAL);
}

enum class Sending { Sent, Closed, Refused, Late };

Sending send(int socket, const OpenRequest::Message& message, Clock::time_point end) {
    QByteArrayView rest(message.bytes);
    std::vector<int> descriptors = message.descriptors;
    while (!rest.isEmpty()) {
        const ssize_t sent = sendSome(socket, rest, descriptors);
        if (sent > 0) {
            rest = rest.sliced(sent);
            descriptors.clear();
        } else if (errno == EAGAIN) {
            if (!waitUntilReady(socket, POLLOUT, end))
                return Sending::Late;
        } else if (errno != EINTR) {
            return errno == EPIPE || errno == ECONNRESET ? Sending::Closed : Sending::Refused;
        }
    }
    return Sending::Sent;
}

enum class Answer { Taken, Refused, Closed, None };

Answer exchange(int socket, const OpenRequest::Message& message, Clock::time_point end) {
    const Sending sending = send(socket, message, end);
    if (sending == Sending::Refused)
        return Answer::Refused;
    // An answer may have come before the other end closed.
    if (sending == Sending::Late || !waitUntilReady(socket, POLLIN, end))
        return Answer::None;
    char answer = 0;
    if (::recv(socket, &answer, 1, 0) != 1)
        return Answer::Closed;
    return answer == SingleInstance::takenAnswer ? Answer::Taken : Answer::Refused;
}

} // namespace

SingleInstance::SingleInstance(InstancePlace place, const MakeMessage& makeMessage, Patience patience)
    : place_(std::move(place)), role_(findRole(makeMessage, patience)) {
    if (role_ != Role::First)
        lock_.close();
}

SingleInstance::Role SingleInstance::findRole(const MakeMessage& makeMessage, Patience patience) {
    std::optional<OpenRequest::Message> message;
    std::optional<Clock::time_point> lockEnd;
    for (;;) {
        if (const Descriptor socket = connectTo(place_.socketPath); socket.isOpen()) {
            if (!isOfThisUser(socket.number()))
                return alone(QCoreApplication::translate(
                    "SingleInstance", "the socket of the running copy belongs to another user"));
            if (!message)
                message = makeMessage();
            switch (exchange(socket.number(), *message, Clock::now() + patience.answer)) {
            case Answer::Taken:
                return Role::HandedOver;
            case Answer::Refused:
                return alone(QCoreApplication::translate(
                    "SingleInstance", "the running copy does not take what is to be opened"));
            case Answer::None:
                return alone(
                    QCoreApplication::translate("SingleInstance", "the running copy does not answer"));
            case Answer::Closed: // it is about to end
                break;
            }
        }
        switch (lock()) {
        case Locking::Locked:
            return listen() ? Role::First : Role::Alone;
        case Locking::Failed:
            return Role::Alone;
        case Locking::Busy:
            break;
        }
        if (!lockEnd)
            lockEnd = Clock::now() + patience.lock;
        else if (Clock::now() >= *lockEnd)
            return alone(QCoreApplication::translate("SingleInstance", "the running copy cannot be reached"));
        std::this_thread::sleep_for(retryInterval);
    }
}

SingleInstance::Role SingleInstance::alone(const QString& fault) {
    fault_ = fault;
    return Role::Alone;
}

bool SingleInstance::isOfThisUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

SingleInstance::Locking SingleInstance::lock() {
    if (!lock_.isOpen()) {
        lock_ =
            Descriptor(::open(place_.lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!lock_.isOpen())
            return Locking::Failed;
        ::fchmod(lock_.number(), fileMode);
    }
    while (::flock(lock_.number(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return Locking::Busy;
        if (errno != EINTR)
            return Locking::Failed;
    }
    return Locking::Locked;
}

bool SingleInstance::listen() {
    // With the lock held, an existing socket is left over from a copy that was killed.
    ::unlink(place_.socketPath.constData());
    Descriptor socket = makeSocket();
    const sockaddr_un address = addressOf(place_.socketPath);
    // The mode is set before the name, so that the socket is never accessible to others.
    if (!socket.isOpen() || ::fchmod(socket.number(), fileMode) != 0 ||
        ::bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket.number(), backlog) != 0)
        return false;
    listener_ = std::move(socket);
    return true;
}

void SingleInstance::stopListening() {
    if (!listener_.isOpen())
        return;
    ::unlink(place_.socketPath.constData());
    listener_.close();
}

void SingleInstance::release() {
    stopListening();
    lock_.close();
}

} // namespace korvane
