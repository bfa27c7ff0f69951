#include "remote/ssh/ServerSocket.h"

#include "foundation/FatalError.h"
#include "foundation/work/Reply.h"
#include "remote/ssh/SshError.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// How long a program that leads to the server may take to end.
constexpr auto programEndingLimit = 500ms;

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Error wasInterrupted() {
    return sshError(SshErrorCode::NotConnected, QStringLiteral("The connection was ended."));
}

Error systemError(int code) {
    return sshError(SshErrorCode::Failed, QString::fromLocal8Bit(std::strerror(code)));
}

Result<Addresses> lookUp(const QByteArray& host, const QByteArray& port) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int fault = ::getaddrinfo(host.constData(), port.constData(), &wanted, &found);
    if (fault)
        return sshError(SshErrorCode::Failed, QString::fromLocal8Bit(::gai_strerror(fault)));
    return Addresses(found);
}

/// Until the descriptor is ready. `interruptEvent` ends the wait.
Status await(int descriptor, short events, int interruptEvent, Clock::time_point deadline) {
    for (;;) {
        pollfd watched[] = {{descriptor, events, 0}, {interruptEvent, POLLIN, 0}};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int ready = ::poll(watched, 2, static_cast<int>(std::max(left, 0ms).count()));
        if (watched[1].revents)
            return wasInterrupted();
        if (ready > 0)
            return success();
        if (ready == 0)
            return timedOut();
        if (errno != EINTR)
            return systemError(errno);
    }
}

Result<int> connectTo(const addrinfo& address, int interruptEvent, Clock::time_point deadline) {
    const int descriptor =
        ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol);
    if (descriptor < 0)
        return systemError(errno);
    const auto failed = [descriptor](const Error& error) {
        ::close(descriptor);
        return error;
    };
    if (::connect(descriptor, address.ai_addr, address.ai_addrlen) != 0) {
        if (errno != EINPROGRESS)
            return failed(systemError(errno));
        if (const Status ready = await(descriptor, POLLOUT, interruptEvent, deadline); !ready)
            return failed(ready.error());
        int fault = 0;
        socklen_t size = sizeof fault;
        ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &fault, &size);
        if (fault)
            return failed(systemError(fault));
    }
    // Without it every request waits for the other side's delayed acknowledgement.
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
    if (agent_ >= 0)
        ::close(agent_);
    ::close(interruptEvent_);
    endProgram();
}

void ServerSocket::endProgram() {
    const pid_t program = std::exchange(program_, -1);
    if (program <= 0)
        return;
    // It leads a session of its own.
    ::kill(-program, SIGTERM);
    const auto limit = Clock::now() + programEndingLimit;
    while (::waitpid(program, nullptr, WNOHANG) == 0) {
        if (Clock::now() >= limit) {
            ::kill(-program, SIGKILL);
            ::waitpid(program, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(10ms);
    }
}

Result<int> ServerSocket::connect(const QString& host, std::uint16_t port, Deadline deadline) {
    // The look-up cannot be called off: whoever waits goes away from it.
    const auto reply = std::make_shared<Reply<Result<Addresses>>>();
    std::thread([reply, host = host.toUtf8(), port = QByteArray::number(port)] {
        reply->set(lookUp(host, port));
    }).detach();
    Result<Addresses> addresses = reply->wait(
        [&] {
            if (isInterrupted())
                reply->set(wasInterrupted());
            else if (Clock::now() > deadline)
                reply->set(timedOut());
        },
        20ms);
    if (!addresses)
        return addresses.error();

    int left = 0;
    for (const addrinfo* address = addresses.value().get(); address; address = address->ai_next)
        ++left;
    Error lastError = timedOut();
    for (const addrinfo* address = addresses.value().get(); address; address = address->ai_next, --left) {
        // One that does not answer leaves time for the others.
        const auto now = Clock::now();
        Result<int> descriptor = connectTo(*address, interruptEvent_, now + (deadline - now) / left);
        if (descriptor)
            return descriptor;
        lastError = descriptor.error();
        if (isInterrupted())
            break;
    }
    return lastError;
}

Result<int> ServerSocket::connectThrough(const QString& command) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return systemError(errno);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, ends[1], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    // Away from our terminal, where it would ask for passwords.
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    sigset_t brokenPipe;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &brokenPipe);
    const QByteArray line = "exec " + command.toLocal8Bit();
    const char* const arguments[] = {"sh", "-c", line.constData(), nullptr};
    const int fault = ::posix_spawn(&program_, "/bin/sh", &files, &attributes,
                                    const_cast<char* const*>(arguments), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&files);
    ::close(ends[1]);
    if (fault) {
        program_ = -1;
        ::close(ends[0]);
        return systemError(fault);
    }
    return ends[0];
}

Result<int> ServerSocket::connectToAgent(const QByteArray& path, Deadline deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return systemError(ENAMETOOLONG);
    std::copy(path.begin(), path.end(), address.sun_path);
    // One that takes nobody in is none.
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return systemError(errno);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int fault = errno;
        ::close(descriptor);
        return systemError(fault);
    }
    const std::lock_guard guard(mutex_);
    const int own = isInterrupted_ ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0) {
        const Error error = isInterrupted_ ? wasInterrupted() : systemError(errno);
        ::close(descriptor);
        return error;
    }
    agent_ = own;
    agentDeadline_ = deadline;
    return descriptor;
}

bool ServerSocket::cutLateAgent() {
    const std::lock_guard guard(mutex_);
    if (agentDeadline_ && Clock::now() > *agentDeadline_) {
        agentDeadline_.reset();
        isAgentLate_ = true;
        ::shutdown(agent_, SHUT_RDWR);
    }
    return isAgentLate_;
}

void ServerSocket::agentAnswered() {
    const std::lock_guard guard(mutex_);
    agentDeadline_.reset();
}

void ServerSocket::interrupt() {
    const std::uint64_t one = 1;
    const std::lock_guard guard(mutex_);
    isInterrupted_ = true;
    [[maybe_unused]] const auto written = ::write(interruptEvent_, &one, sizeof one);
    if (agent_ >= 0)
        ::shutdown(agent_, SHUT_RDWR);
}

bool ServerSocket::isInterrupted() const {
    const std::lock_guard guard(mutex_);
    return isInterrupted_;
}

} // namespace korvane
