#pragma once

#include <QByteArray>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace korvane::test {

/// Connects the socket to a port of 127.0.0.1; false also while it is under way.
inline bool connectToLoopback(int socket, std::uint16_t port) {
    const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// A socket bound or connected to the path: `use` is bind(2) or connect(2).
inline int socketAt(const QByteArray& path, int (*use)(int, const sockaddr*, socklen_t)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(path, address.sun_path);
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(use(made, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return made;
}

/// A socket that listens on a free port of 127.0.0.1.
class Listener {
public:
    explicit Listener(int backlog = 16) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(::listen(socket_, backlog), 0);
        EXPECT_EQ(::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
    }
    ~Listener() {
        ::close(socket_);
        for (const int waiting : waiting_)
            ::close(waiting);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int socket() const { return socket_; }
    std::uint16_t port() const { return port_; }

    /// Fills the backlog, so that the next connection is never accepted.
    void fill() {
        for (int count = 0; count < 8; ++count) {
            waiting_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            connectToLoopback(waiting_.back(), port_);
            pollfd connected{waiting_.back(), POLLOUT, 0};
            if (::poll(&connected, 1, 300) == 0)
                return;
        }
        ADD_FAILURE() << "the places do not end";
    }

private:
    const int socket_;
    std::uint16_t port_ = 0;
    std::vector<int> waiting_;
};

} // namespace korvane::test
