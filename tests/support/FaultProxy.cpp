#include "support/FaultProxy.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>

namespace korvane::test {
namespace {

constexpr std::size_t chunkBytes = 4096;
/// Maximum number of queued bytes before the sender has to wait, as on a bad link.
constexpr std::size_t mostQueuedBytes = 64 * 1024;
/// Latest positions of a break, in bytes: within the login, the first commands, the first page, or later.
constexpr std::uint64_t latestBreaks[] = {4'000, 8'000, 60'000, 150'000};
/// After the login the client sends this many times less than the server.
constexpr std::uint64_t clientsShare = 8;
constexpr std::size_t breakKinds = 6;
constexpr auto longestPoll = std::chrono::seconds(1);

void closeSocket(int& socket, bool isReset) {
    if (socket < 0)
        return;
    if (isReset) {
        const linger atOnce{1, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    }
    ::close(std::exchange(socket, -1));
}

} // namespace

FaultProxy::FaultProxy(std::uint16_t serverPort, std::uint64_t seed, const Faults& faults)
    : serverPort_(serverPort), faults_(faults), wakeEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      random_(seed) {
    thread_ = std::thread([this] { serve(); });
}

FaultProxy::~FaultProxy() {
    isOver_ = true;
    wake();
    thread_.join();
    for (const auto& connection : connections_)
        close(*connection, false);
    ::close(wakeEvent_);
}

void FaultProxy::calm() {
    isCalm_ = true;
    wake();
}

FaultProxy::Counts FaultProxy::counts() const {
    return {connectionCount_, delayedCount_, slowCount_, stallCount_, resetCount_, endCount_, silenceCount_};
}

void FaultProxy::wake() const {
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(wakeEvent_, &one, sizeof one), static_cast<ssize_t>(sizeof one));
}

void FaultProxy::serve() {
    std::vector<pollfd> polled;
    while (!isOver_) {
        auto now = Clock::now();
        auto next = now + longestPoll;
        polled.assign({{wakeEvent_, POLLIN, 0}, {listener_.socket(), POLLIN, 0}});
        for (const auto& connection : connections_) {
            next = std::min(next, nextEvent(*connection, now));
            const bool isStill = isStalled(*connection, now);
            for (const Way& way : connection->ways) {
                // The opposite direction sends to this one's source.
                const Way& back = connection->ways[&way == connection->ways ? 1 : 0];
                short events = 0;
                if (!isStill && !way.hasEnded && way.queuedBytes < mostQueuedBytes)
                    events |= POLLIN;
                if (!isStill && back.isBlocked)
                    events |= POLLOUT;
                polled.push_back({events == 0 ? -1 : way.from, events, 0});
            }
        }
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now);
        ::poll(polled.data(), polled.size(), std::max(0, static_cast<int>(wait.count())));
        std::uint64_t wakes = 0;
        while (::read(wakeEvent_, &wakes, sizeof wakes) > 0) {
        }

        now = Clock::now();
        for (std::size_t i = 0; i < connections_.size(); ++i) {
            Connection& connection = *connections_[i];
            for (std::size_t way = 0; way < 2; ++way) {
                const short events = polled[2 + 2 * i + way].revents;
                if (events & (POLLIN | POLLHUP | POLLERR) && !connection.isGone)
                    receive(connection, connection.ways[way]);
            }
            if (isStalled(connection, now))
                continue;
            for (Way& way : connection.ways) {
                if (!connection.isGone)
                    send(connection, way, now);
            }
        }
        std::erase_if(connections_, [](const auto& connection) { return connection->isGone; });
        if (polled[1].revents)
            accept();
    }
}

void FaultProxy::accept() {
    const int client = ::accept4(listener_.socket(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client < 0)
        return;
    int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(serverPort_);
    auto connection = std::make_unique<Connection>();
    connection->ways[0].from = connection->ways[1].to = client;
    connection->ways[0].to = connection->ways[1].from = server;
    ++connectionCount_;
    if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(*connection, true);
        return;
    }
    const int yes = 1;
    for (const int socket : {client, server}) {
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
    }
    choose(*connection);
    connections_.push_back(std::move(connection));
}

/// Always draws the same number of random values, whatever is chosen.
void FaultProxy::choose(Connection& connection) {
    const std::uint64_t delays = random_() % 4;
    const std::uint64_t slows = random_() % 4;
    const std::uint64_t breaks = random_() % breakKinds;
    const std::uint64_t phase = random_() % std::size(latestBreaks);
    const std::uint64_t bytes = random_();
    connection.breakingWay = random_() % 3 == 0 ? 0 : 1;
    if (isCalm_)
        return;
    if (delays < 2) {
        connection.delay = delays == 0 ? faults_.delay : faults_.delay / 2;
        ++delayedCount_;
    }
    if (slows < 2) {
        connection.bytesPerSecond = slows == 0 ? faults_.bytesPerSecond : faults_.bytesPerSecond / 10;
        ++slowCount_;
    }
    constexpr Break kinds[breakKinds] = {Break::None,  Break::Stall, Break::Stall,
                                         Break::Reset, Break::End,   Break::Silence};
    connection.next = kinds[breaks];
    const std::uint64_t latest = latestBreaks[phase];
    connection.bytesToBreak =
        bytes % (connection.breakingWay == 0 && phase > 1 ? latest / clientsShare : latest);
}

bool FaultProxy::isStalled(const Connection& connection, Clock::time_point now) const {
    return !isCalm_ && now < connection.stalledUntil;
}

FaultProxy::Clock::time_point FaultProxy::nextEvent(const Connection& connection,
                                                    Clock::time_point now) const {
    if (isStalled(connection, now))
        return connection.stalledUntil;
    auto next = Clock::time_point::max();
    for (const Way& way : connection.ways) {
        if (!way.chunks.empty() && !way.isBlocked)
            next = std::min(next, isCalm_ ? now : way.chunks.front().due);
    }
    return next;
}

void FaultProxy::receive(Connection& connection, Way& way) {
    char buffer[chunkBytes];
    const ssize_t count = ::recv(way.from, buffer, sizeof buffer, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        way.hasEnded = true;
        // Nothing more can be sent to a peer that has closed.
        if (count < 0 || connection.isOver)
            close(connection, count < 0);
        return;
    }
    if (connection.isOver || way.isSilent)
        return;
    auto bytes = static_cast<std::uint64_t>(count);
    const bool breaks = !isCalm_ && connection.next != Break::None &&
                        &way == &connection.ways[connection.breakingWay] && connection.bytesToBreak < bytes;
    if (breaks)
        bytes = connection.bytesToBreak;
    const auto now = Clock::now();
    auto time = std::chrono::nanoseconds(0);
    if (connection.bytesPerSecond != 0)
        time = std::chrono::nanoseconds(std::chrono::seconds(1)) * bytes / connection.bytesPerSecond;
    way.lastDue = std::max(now + connection.delay, way.lastDue + time);
    if (!breaks) {
        if (&way == &connection.ways[connection.breakingWay])
            connection.bytesToBreak -= std::min(connection.bytesToBreak, bytes);
        way.chunks.push_back({way.lastDue, std::string(buffer, bytes)});
        way.queuedBytes += bytes;
        return;
    }
    // A stall loses nothing; other breaks lose the bytes behind them.
    const std::size_t kept = connection.next == Break::Stall ? static_cast<std::size_t>(count) : bytes;
    way.chunks.push_back({way.lastDue, std::string(buffer, kept)});
    way.queuedBytes += kept;
    breakOff(connection);
}

void FaultProxy::breakOff(Connection& connection) {
    switch (std::exchange(connection.next, Break::None)) {
    case Break::None:
        return;
    case Break::Stall:
        ++stallCount_;
        connection.stalledUntil = Clock::now() + faults_.stall;
        return;
    case Break::Reset:
        ++resetCount_;
        close(connection, true);
        return;
    case Break::Silence:
        ++silenceCount_;
        connection.ways[connection.breakingWay].isSilent = true;
        return;
    case Break::End:
        ++endCount_;
        // Bytes received before the break are delivered.
        for (const Chunk& chunk : connection.ways[1].chunks) {
            if (::send(connection.ways[1].to, chunk.bytes.data(), chunk.bytes.size(), MSG_NOSIGNAL) < 0)
                break;
        }
        ::shutdown(connection.ways[1].to, SHUT_WR);
        closeSocket(connection.ways[1].from, false);
        connection.ways[0].to = -1;
        connection.ways[1].hasEnded = true;
        connection.ways[1].isBlocked = false;
        for (Way& way : connection.ways) {
            way.chunks.clear();
            way.queuedBytes = 0;
        }
        connection.isOver = true;
        return;
    }
}

void FaultProxy::send(Connection& connection, Way& way, Clock::time_point now) {
    way.isBlocked = false;
    while (!way.chunks.empty() && (isCalm_ || way.chunks.front().due <= now)) {
        std::string& bytes = way.chunks.front().bytes;
        const ssize_t count = ::send(way.to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            way.isBlocked = true;
            return;
        }
        if (count < 0) {
            close(connection, false);
            return;
        }
        way.queuedBytes -= static_cast<std::size_t>(count);
        bytes.erase(0, static_cast<std::size_t>(count));
        if (bytes.empty())
            way.chunks.pop_front();
    }
    if (way.hasEnded && way.chunks.empty() && !connection.isOver)
        close(connection, false);
}

void FaultProxy::close(Connection& connection, bool isReset) {
    closeSocket(connection.ways[0].from, isReset);
    closeSocket(connection.ways[1].from, isReset);
    connection.isGone = true;
}

} // namespace korvane::test
