#include "app/RequestServer.h"

#include "app/SingleInstance.h"
#include "ui/desktop/UiLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace korvane {
namespace {

using namespace std::chrono_literals;

constexpr auto pauseLength = 200ms;
constexpr std::size_t stepSize = 65'536;

} // namespace

/// The connection of one start.
class RequestServer::Connection {
public:
    enum class State { Incomplete, Complete, Refused, Closed };

    Connection(Descriptor socket, QObject* parent)
        : socket_(std::move(socket)),
          notifier_(new QSocketNotifier(socket_.number(), QSocketNotifier::Read, parent)),
          timer_(new QTimer(notifier_)), buffer_(stepSize) {
        timer_->setSingleShot(true);
    }
    ~Connection() {
        timer_->stop();
        notifier_->setEnabled(false);
        notifier_->deleteLater(); // it or its timer may be emitting
    }

    QSocketNotifier& notifier() { return *notifier_; }
    QTimer& timer() { return *timer_; }

    /// Reads available bytes, at most one buffer.
    State read() {
        iovec part{buffer_.data(), buffer_.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(OpenRequest::mostDescriptors * sizeof(int))> control;
        msghdr header{};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        const ssize_t got = ::recvmsg(socket_.number(), &header, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
        if (got < 0)
            return errno == EAGAIN || errno == EINTR ? State::Incomplete : State::Closed;
        keepDescriptors(header);
        if (got == 0)
            return State::Closed;
        bytes_.append(buffer_.data(), got);
        if ((header.msg_flags & MSG_CTRUNC) || descriptors_.size() > OpenRequest::mostDescriptors)
            return State::Refused;
        return stateOfMessage();
    }

    /// Once complete.
    std::optional<OpenRequest> takeRequest() {
        return OpenRequest::fromMessage(bytes_, std::move(descriptors_));
    }

    /// False when the sender has closed the connection.
    bool answer(char byte) { return ::send(socket_.number(), &byte, 1, MSG_NOSIGNAL | MSG_DONTWAIT) == 1; }

private:
    void keepDescriptors(msghdr& header) {
        for (cmsghdr* beside = CMSG_FIRSTHDR(&header); beside; beside = CMSG_NXTHDR(&header, beside)) {
            if (beside->cmsg_level != SOL_SOCKET || beside->cmsg_type != SCM_RIGHTS)
                continue;
            const std::size_t count = (beside->cmsg_len - CMSG_LEN(0)) / sizeof(int);
            for (std::size_t i = 0; i < count; ++i) {
                int number = -1;
                std::memcpy(&number, CMSG_DATA(beside) + i * sizeof number, sizeof number);
                descriptors_.emplace_back(number);
            }
        }
    }

    State stateOfMessage() const {
        if (bytes_.size() < OpenRequest::messageHeaderSize)
            return State::Incomplete;
        const auto size =
            OpenRequest::messageSize(QByteArrayView(bytes_).first(OpenRequest::messageHeaderSize));
        if (!size || bytes_.size() > *size)
            return State::Refused;
        return bytes_.size() == *size ? State::Complete : State::Incomplete;
    }

    const Descriptor socket_;
    /// The notifier's parent deletes both, at the latest.
    QSocketNotifier* const notifier_;
    QTimer* const timer_;
    std::vector<char> buffer_;
    QByteArray bytes_;
    std::vector<Descriptor> descriptors_;
};

RequestServer::RequestServer(int listener, Handler handler, Limits limits)
    : handler_(std::move(handler)), limits_(limits), listener_(listener),
      notifier_(listener, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { accept(); });
    resumeTimer_.setSingleShot(true);
    QObject::connect(&resumeTimer_, &QTimer::timeout, &resumeTimer_, [this] { updateNotifiers(); });
}

RequestServer::~RequestServer() = default;

void RequestServer::pause() {
    resumeTimer_.start(pauseLength);
    updateNotifiers();
}

void RequestServer::updateNotifiers() {
    const bool isPaused = resumeTimer_.isActive();
    notifier_.setEnabled(!isPaused && connections_.size() < limits_.connections);
    for (const auto& connection : connections_)
        connection->notifier().setEnabled(!isPaused);
}

void RequestServer::accept() {
    Descriptor socket(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.isOpen()) {
        // Without a free descriptor the listener would stay ready and keep the program busy.
        if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED)
            pause();
        return;
    }
    if (!SingleInstance::isOfThisUser(socket.number()))
        return;
    Connection& connection =
        *connections_.emplace_back(std::make_unique<Connection>(std::move(socket), &notifier_));
    QObject::connect(&connection.notifier(), &QSocketNotifier::activated, &connection.notifier(),
                     [this, &connection] { read(connection); });
    QObject::connect(&connection.timer(), &QTimer::timeout, &connection.notifier(), [this, &connection] {
        qCWarning(logUi, "a request to open files did not arrive in time");
        remove(connection);
    });
    connection.timer().start(limits_.time);
    updateNotifiers();
}

void RequestServer::read(Connection& connection) {
    const Connection::State state = connection.read();
    if (state == Connection::State::Incomplete)
        return;
    std::optional<OpenRequest> request;
    if (state == Connection::State::Complete)
        request = connection.takeRequest();
    if (!request && state != Connection::State::Closed) {
        qCWarning(logUi, "a request to open files was refused");
        connection.answer(SingleInstance::refusedAnswer);
    }
    const bool isTaken = request && connection.answer(SingleInstance::takenAnswer);
    remove(connection);
    if (isTaken)
        handler_(std::move(*request));
}

void RequestServer::remove(Connection& connection) {
    std::erase_if(connections_, [&](const auto& one) { return one.get() == &connection; });
    updateNotifiers();
}

} // namespace korvane
