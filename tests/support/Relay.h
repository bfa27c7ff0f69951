#pragma once

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace korvane::test {

/// A socket that listens on a free port of 127.0.0.1.
class Listener {
public:
    explicit Listener(int backlog = 16) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        socklen_t size = sizeof address_;
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::bind(socket_, address(), size), 0);
        EXPECT_EQ(::listen(socket_, backlog), 0);
        EXPECT_EQ(::getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size), 0);
    }
    ~Listener() {
        ::close(socket_);
        for (const int waiting : waiting_)
            ::close(waiting);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int socket() const { return socket_; }
    std::uint16_t port() const { return ntohs(address_.sin_port); }

    /// Fills the backlog, so that the next connection is never accepted.
    void fill() {
        for (int count = 0; count < 8; ++count) {
            waiting_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            [[maybe_unused]] const int begun = ::connect(waiting_.back(), address(), sizeof address_);
            pollfd connected{waiting_.back(), POLLOUT, 0};
            if (::poll(&connected, 1, 300) == 0)
                return;
        }
        ADD_FAILURE() << "the places do not end";
    }

private:
    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&address_); }

    const int socket_;
    sockaddr_in address_{};
    std::vector<int> waiting_;
};

/// Relays between a client and a server, and passes at most `serverBytes` bytes from the server.
class Relay {
public:
    enum class Then { Cut, Silence };

    /// `delay`: delay of each piece from the server.
    Relay(std::uint16_t serverPort, std::uint64_t serverBytes, Then then,
          std::chrono::milliseconds delay = std::chrono::milliseconds(0))
        : serverPort_(serverPort), serverBytes_(serverBytes), then_(then), delay_(delay) {
        worker_ = std::thread([this] { serve(); });
    }
    ~Relay() {
        isOver_ = true;
        ::shutdown(listener_.socket(), SHUT_RDWR);
        worker_.join();
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Bytes from the server passed so far.
    std::uint64_t passed() const { return passed_; }

private:
    void serve() {
        while (!isOver_) {
            const int client = ::accept4(listener_.socket(), nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                return;
            const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.sin_port = htons(serverPort_);
            if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
                relay(client, server);
            ::close(client);
            ::close(server);
        }
    }

    void relay(int client, int server) {
        std::uint64_t left = serverBytes_;
        while (!isOver_) {
            // When silent, it does not read either.
            const bool isSilent = left == 0 && then_ == Then::Silence;
            pollfd both[] = {{client, static_cast<short>(isSilent ? 0 : POLLIN), 0},
                             {server, static_cast<short>(isSilent ? 0 : POLLIN), 0}};
            ::poll(both, 2, 20);
            if (isSilent) {
                if (both[0].revents)
                    return;
                continue;
            }
            if (both[0].revents && !pass(client, server, 1 << 16))
                return;
            if (both[1].revents) {
                ::poll(nullptr, 0, static_cast<int>(delay_.count()));
                const std::uint64_t count = pass(server, client, left);
                passed_ += count;
                left -= count;
                if (count == 0 || (left == 0 && then_ == Then::Cut))
                    return;
            }
        }
    }

    static std::uint64_t pass(int from, int to, std::uint64_t most) {
        std::array<char, 4096> buffer;
        const ssize_t count = ::recv(from, buffer.data(), std::min<std::uint64_t>(most, buffer.size()), 0);
        if (count <= 0 || ::send(to, buffer.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL) != count)
            return 0;
        return static_cast<std::uint64_t>(count);
    }

    const std::uint16_t serverPort_;
    const std::uint64_t serverBytes_;
    const Then then_;
    const std::chrono::milliseconds delay_;
    const Listener listener_;
    std::atomic<bool> isOver_{false};
    std::atomic<std::uint64_t> passed_{0};
    std::thread worker_;
};

} // namespace korvane::test
