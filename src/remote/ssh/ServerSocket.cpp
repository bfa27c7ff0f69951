#include "remote/ssh/ServerSocket.h"

#include "foundation/FatalError.h"
#include "remote/ssh/NameLookUp.h"
#include "remote/ssh/SshError.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;

/// Maximum number of lines shown from the end of a program's messages; the last line alone may be a mere
/// greeting.
constexpr qsizetype mostFaultLines = 3;
constexpr qsizetype longestLine = 300;

/// Binds the socket to an address of this computer.
Status bindTo(int descriptor, const QByteArray& local, int family, int interruptEvent, Deadline deadline) {
    const Result<Addresses> address = lookUpName(local, "0", family, interruptEvent, deadline);
    if (!address)
        return address.error();
    const addrinfo& first = *address.value();
    if (::bind(descriptor, first.ai_addr, first.ai_addrlen) != 0)
        return systemError(errno);
    return success();
}

Result<int> connectTo(const addrinfo& address, const QByteArray& local, int interruptEvent,
                      Deadline deadline) {
    const int descriptor =
        ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol);
    if (descriptor < 0)
        return systemError(errno);
    const auto failed = [descriptor](const Error& error) {
        ::close(descriptor);
        return error;
    };
    if (!local.isEmpty()) {
        if (const Status bound = bindTo(descriptor, local, address.ai_family, interruptEvent, deadline);
            !bound)
            return failed(bound.error());
    }
    if (::connect(descriptor, address.ai_addr, address.ai_addrlen) != 0) {
        if (errno != EINPROGRESS)
            return failed(systemError(errno));
        if (const Status ready = awaitDescriptor(descriptor, POLLOUT, interruptEvent, deadline); !ready)
            return failed(ready.error());
        int fault = 0;
        socklen_t size = sizeof fault;
        ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &fault, &size);
        if (fault)
            return failed(systemError(fault));
    }
    // Otherwise requests wait for the peer's delayed acknowledgement.
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return descriptor;
}

} // namespace

ServerSocket::ServerSocket() : interruptEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (interruptEvent_ < 0)
        fatalError("no event descriptor for a connection");
}

ServerSocket::~ServerSocket() {
    endProgram();
    ::close(interruptEvent_);
}

void ServerSocket::endProgram() {
    if (const pid_t program = std::exchange(program_, -1); program > 0)
        korvane::endProgram(program);
    if (const int errors = std::exchange(programsErrors_, -1); errors >= 0)
        ::close(errors);
}

Result<int> ServerSocket::connect(const SshConfiguration& configuration, Deadline deadline) {
    return configuration.proxyCommand.isEmpty() ? connectDirectly(configuration, deadline)
                                                : connectThrough(configuration.proxyCommand);
}

Result<int> ServerSocket::connectDirectly(const SshConfiguration& configuration, Deadline deadline) {
    const Result<Addresses> addresses =
        lookUpName(configuration.hostName.toUtf8(), QByteArray::number(configuration.port),
                   configuration.addressFamily, interruptEvent_, deadline);
    if (!addresses)
        return addresses.error();

    int left = 0;
    for (const addrinfo* address = addresses.value().get(); address; address = address->ai_next)
        ++left;
    Error lastError = timedOut();
    for (const addrinfo* address = addresses.value().get(); address; address = address->ai_next, --left) {
        // Leave time for the other addresses if one does not answer.
        const auto now = Clock::now();
        Result<int> descriptor = connectTo(*address, configuration.bindAddress.toUtf8(), interruptEvent_,
                                           now + (deadline - now) / left);
        if (descriptor)
            return descriptor;
        lastError = descriptor.error();
        if (isInterrupted_)
            break;
    }
    return lastError;
}

Result<int> ServerSocket::connectThrough(const QString& command) {
    Result<std::unique_ptr<Askpass>> askpass = Askpass::create();
    if (!askpass)
        return askpass.error();
    askpass_ = std::move(askpass).value();
    int ends[2];
    int errors[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return systemError(errno);
    // Messages nobody reads are dropped, and do not block the program.
    if (::pipe2(errors, O_CLOEXEC | O_NONBLOCK) != 0) {
        const int fault = errno;
        ::close(ends[0]);
        ::close(ends[1]);
        return systemError(fault);
    }
    programsErrors_ = errors[0];
    const int fault = startProgram({"/bin/sh", "-c", "exec " + command.toLocal8Bit()},
                                   {ends[1], ends[1], errors[1]}, program_, askpass_->environment());
    ::close(ends[1]);
    ::close(errors[1]);
    if (!fault) {
        // Only our end: the program expects blocking descriptors.
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
        return ends[0];
    }
    ::close(ends[0]);
    return systemError(fault);
}

QString ServerSocket::programsFault() {
    if (programsErrors_ < 0)
        return {};
    QByteArray text(1 << 16, 0);
    text.resize(
        std::max<ssize_t>(::read(programsErrors_, text.data(), static_cast<std::size_t>(text.size())), 0));
    QStringList lines;
    for (const QString& line : readableText(text).split(u'\n')) {
        const QString words = line.simplified().left(longestLine);
        if (!words.isEmpty() && (lines.isEmpty() || lines.last() != words))
            lines.append(words);
    }
    return lines.mid(std::max<qsizetype>(lines.size() - mostFaultLines, 0)).join(u'\n');
}

void ServerSocket::interrupt() {
    const std::uint64_t one = 1;
    isInterrupted_ = true;
    [[maybe_unused]] const auto written = ::write(interruptEvent_, &one, sizeof one);
}

} // namespace korvane
