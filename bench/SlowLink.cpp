#include "SlowLink.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <netinet/tcp.h>
#include <sys/eventfd.h>

namespace korvane::bench {
namespace {

/// Maximum payload of a packet in bytes, as on Ethernet.
constexpr std::size_t packetBytes = 1448;
/// Maximum bytes under way in each direction of a connection if the rate is limited; beyond that the sender
/// waits.
constexpr std::size_t mostQueuedBytes = std::size_t{128} << 10;

timespec untilTime(std::chrono::nanoseconds wait) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(wait);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((wait - seconds).count())};
}

} // namespace

SlowLink::SlowLink(std::uint16_t serverPort, const Speed& speed)
    : serverPort_(serverPort), speed_(speed), endEvent_(::eventfd(0, EFD_CLOEXEC)) {
    thread_ = std::thread([this] { serve(); });
}

SlowLink::~SlowLink() {
    ::eventfd_write(endEvent_, 1);
    thread_.join();
    for (const auto& connection : connections_) {
        ::close(connection->ways[0].from);
        ::close(connection->ways[1].from);
    }
    ::close(endEvent_);
}

void SlowLink::serve() {
    const std::size_t limit =
        speed_.bytesPerSecond == 0 ? std::numeric_limits<std::size_t>::max() : mostQueuedBytes;
    std::vector<pollfd> polled;
    for (;;) {
        auto due = Clock::time_point::max();
        polled.assign({{endEvent_, POLLIN, 0}, {listener_.socket(), POLLIN, 0}});
        for (const auto& connection : connections_) {
            for (std::size_t direction = 0; direction < 2; ++direction) {
                const Way& way = connection->ways[direction];
                short events = 0;
                if (!way.hasEnded && way.queuedBytes < limit)
                    events |= POLLIN;
                // The opposite direction sends to the socket that this one receives from.
                if (connection->ways[1 - direction].isBlocked)
                    events |= POLLOUT;
                polled.push_back({events == 0 ? -1 : way.from, events, 0});
                if (!way.packets.empty() && !way.isBlocked)
                    due = std::min(due, way.packets.front().due);
            }
        }
        timespec wait{};
        if (due != Clock::time_point::max())
            wait = untilTime(std::max(Clock::duration::zero(), due - Clock::now()));
        ::ppoll(polled.data(), polled.size(), due == Clock::time_point::max() ? nullptr : &wait, nullptr);
        if (polled[0].revents)
            return;
        for (std::size_t i = 0; i < connections_.size(); ++i) {
            for (std::size_t direction = 0; direction < 2; ++direction) {
                if (polled[2 + 2 * i + direction].revents & (POLLIN | POLLHUP | POLLERR))
                    receive(*connections_[i], direction);
            }
            const auto now = Clock::now();
            for (Way& way : connections_[i]->ways)
                send(*connections_[i], way, now);
        }
        std::erase_if(connections_, [](const auto& connection) { return isOver(*connection); });
        if (polled[1].revents)
            accept();
    }
}

bool SlowLink::isOver(const Connection& connection) {
    if (!connection.isBroken && !(connection.ways[0].isOver && connection.ways[1].isOver))
        return false;
    ::close(connection.ways[0].from);
    ::close(connection.ways[1].from);
    return true;
}

void SlowLink::accept() {
    const int client = ::accept4(listener_.socket(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client < 0)
        return;
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(serverPort_);
    if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(client);
        ::close(server);
        return;
    }
    const int yes = 1;
    for (const int socket : {client, server}) {
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
    }
    auto connection = std::make_unique<Connection>();
    connection->ways[0].from = connection->ways[1].to = client;
    connection->ways[0].to = connection->ways[1].from = server;
    connections_.push_back(std::move(connection));
}

void SlowLink::receive(Connection& connection, std::size_t direction) {
    Way& way = connection.ways[direction];
    char buffer[packetBytes];
    const ssize_t count = way.hasEnded ? 0 : ::recv(way.from, buffer, sizeof buffer, 0);
    if (count < 0) {
        connection.isBroken |= errno != EAGAIN && errno != EINTR;
        return;
    }
    way.hasEnded |= count == 0;
    if (count == 0)
        return;
    const auto size = static_cast<std::size_t>(count);
    auto& busyUntil = busyUntil_[direction];
    busyUntil = std::max(busyUntil, Clock::now());
    if (speed_.bytesPerSecond != 0)
        busyUntil += std::chrono::nanoseconds(std::chrono::seconds(1)) * size / speed_.bytesPerSecond;
    way.packets.push_back({busyUntil + speed_.roundTrip / 2, std::string(buffer, size)});
    way.queuedBytes += size;
    bytes_ += size;
}

void SlowLink::send(Connection& connection, Way& way, Clock::time_point now) {
    way.isBlocked = false;
    while (!way.packets.empty() && way.packets.front().due <= now) {
        std::string& bytes = way.packets.front().bytes;
        const ssize_t count = ::send(way.to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            way.isBlocked = errno == EAGAIN || errno == EINTR;
            connection.isBroken |= !way.isBlocked;
            return;
        }
        way.queuedBytes -= static_cast<std::size_t>(count);
        bytes.erase(0, static_cast<std::size_t>(count));
        if (bytes.empty())
            way.packets.pop_front();
    }
    if (way.hasEnded && way.packets.empty() && !way.isOver) {
        ::shutdown(way.to, SHUT_WR);
        way.isOver = true;
    }
}

} // namespace korvane::bench
