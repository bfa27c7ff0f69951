#pragma once

#include "support/Listener.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <netinet/tcp.h>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace korvane::test {

/// A bad link to a server on 127.0.0.1. One thread for each connection.
class FaultProxy {
public:
    enum class Break {
        None,
        Stall,
        /// Both ends are notified at once; bytes under way are lost.
        Reset,
        /// The server's side is closed as if it had ended the connection.
        End,
        /// From then on the bytes of one side are lost without notice, even after `calm`.
        Silence,
    };
    /// The faults of one connection.
    struct Plan {
        std::chrono::milliseconds delay{0};
        std::uint64_t bytesPerSecond = 0; // 0 = unlimited
        Break next = Break::None;
        /// Number of bytes from the breaking side that pass before the break.
        std::uint64_t bytesToBreak = 0;
        /// 0 = from the client, 1 = from the server.
        std::size_t breakingWay = 1;
    };
    enum Event : std::size_t { Connected, Delayed, Slowed, Stalled, Reset, Ended, Silenced, eventKinds };
    using Counts = std::array<int, eventKinds>;

    /// The faults of each connection, and their times, follow from the seed and the number of bytes passed.
    FaultProxy(std::uint16_t serverPort, std::uint64_t seed, std::chrono::milliseconds stall)
        : serverPort_(serverPort), stall_(stall), random_(seed), acceptor_([this] { accept(); }) {}
    /// The same for every connection.
    FaultProxy(std::uint16_t serverPort, const Plan& plan)
        : serverPort_(serverPort), plan_(plan), acceptor_([this] { accept(); }) {}
    ~FaultProxy() {
        isOver_ = true;
        ::shutdown(listener_.socket(), SHUT_RDWR);
        acceptor_.join();
    }

    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Ends all further faults: stalls end, and delayed bytes pass. Any thread.
    void calm() { isCalm_ = true; }
    /// Counts so far. Any thread.
    Counts counts() const {
        const std::lock_guard guard(mutex_);
        return counts_;
    }

private:
    /// The worst values; as many connections get half the delay, or a tenth of the speed.
    static constexpr std::chrono::milliseconds worstDelay{200};
    static constexpr std::uint64_t worstBytesPerSecond = 50 * 1024;
    static constexpr std::size_t chunkBytes = 4096;
    /// Maximum number of queued bytes before the sender has to wait, as on a bad link.
    static constexpr std::size_t mostQueuedBytes = 64 * 1024;
    /// Latest positions of a break, in bytes: within the login, the first commands, the first page, or later.
    static constexpr std::uint64_t latestBreaks[] = {4'000, 8'000, 60'000, 150'000};
    /// After the login the client sends this many times less than the server.
    static constexpr std::uint64_t clientsShare = 8;
    static constexpr std::size_t breakKinds = 6;
    /// How late delayed bytes may be, and the end of the proxy.
    static constexpr int pollMilliseconds = 5;
    using Clock = std::chrono::steady_clock;
    struct Chunk {
        Clock::time_point due;
        std::string bytes;
    };
    /// One direction of a connection.
    struct Way {
        int from = -1;
        int to = -1;
        std::deque<Chunk> chunks{};
        std::size_t queuedBytes = 0;
        Clock::time_point lastDue{};
        bool hasEnded = false;
        bool isSilent = false;
    };
    struct Connection : Plan {
        std::array<Way, 2> ways;
        Clock::time_point stalledUntil;
        bool isOver = false;
    };

    void accept() {
        for (;;) {
            const int client = ::accept4(listener_.socket(), nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                return;
            note(Connected);
            const Plan plan = plan_ ? *plan_ : drawn();
            connections_.emplace_back([this, client, plan] { serve(client, plan); });
        }
    }

    /// Always draws the same number of random values, whatever is chosen.
    Plan drawn() {
        const std::uint64_t delays = random_() % 4;
        const std::uint64_t slows = random_() % 4;
        const std::uint64_t breaks = random_() % breakKinds;
        const std::uint64_t phase = random_() % std::size(latestBreaks);
        const std::uint64_t bytes = random_();
        Plan plan;
        plan.breakingWay = random_() % 3 == 0 ? 0 : 1;
        if (isCalm_)
            return plan;
        if (delays < 2) {
            plan.delay = delays == 0 ? worstDelay : worstDelay / 2;
            note(Delayed);
        }
        if (slows < 2) {
            plan.bytesPerSecond = slows == 0 ? worstBytesPerSecond : worstBytesPerSecond / 10;
            note(Slowed);
        }
        constexpr Break kinds[breakKinds] = {Break::None,  Break::Stall, Break::Stall,
                                             Break::Reset, Break::End,   Break::Silence};
        plan.next = kinds[breaks];
        const std::uint64_t latest = latestBreaks[phase];
        plan.bytesToBreak = bytes % (plan.breakingWay == 0 && phase > 1 ? latest / clientsShare : latest);
        return plan;
    }

    void serve(int client, const Plan& plan) {
        const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        for (const int socket : {client, server})
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        Connection connection{plan, {Way{client, server}, Way{server, client}}, {}, false};
        connection.isOver = !connectToLoopback(server, serverPort_);
        while (!isOver_ && !connection.isOver) {
            const bool isStalled = !isCalm_ && Clock::now() < connection.stalledUntil;
            std::array<pollfd, 2> polled{};
            for (std::size_t place = 0; place < 2; ++place) {
                const Way& way = connection.ways[place];
                const bool takes = !isStalled && !way.hasEnded && way.queuedBytes < mostQueuedBytes;
                polled[place] = {takes ? way.from : -1, POLLIN, 0};
            }
            ::poll(polled.data(), polled.size(), pollMilliseconds);
            for (std::size_t place = 0; place < 2 && !connection.isOver; ++place) {
                if (polled[place].revents)
                    receive(connection, place);
            }
            for (Way& way : connection.ways) {
                if (!isStalled)
                    send(connection, way);
            }
        }
        ::close(client);
        ::close(server);
    }

    void receive(Connection& connection, std::size_t place) {
        Way& way = connection.ways[place];
        std::array<char, chunkBytes> buffer;
        const ssize_t count = ::recv(way.from, buffer.data(), buffer.size(), 0);
        way.hasEnded = count <= 0;
        connection.isOver |= count < 0; // nothing more can be sent to a peer that has closed
        if (count <= 0 || way.isSilent)
            return;
        const auto received = static_cast<std::uint64_t>(count);
        const bool isWatched = place == connection.breakingWay;
        const bool breaks =
            isWatched && !isCalm_ && connection.next != Break::None && connection.bytesToBreak < received;
        // A stall loses nothing; other breaks lose the bytes behind them.
        const auto bytes = breaks && connection.next != Break::Stall ? connection.bytesToBreak : received;
        if (isWatched)
            connection.bytesToBreak -= std::min(connection.bytesToBreak, bytes);
        auto time = std::chrono::nanoseconds(0);
        if (connection.bytesPerSecond != 0)
            time = std::chrono::nanoseconds(std::chrono::seconds(1)) * bytes / connection.bytesPerSecond;
        way.lastDue = std::max(Clock::now() + connection.delay, way.lastDue + time);
        way.chunks.push_back({way.lastDue, std::string(buffer.data(), bytes)});
        way.queuedBytes += bytes;
        if (breaks)
            breakOff(connection);
    }

    void breakOff(Connection& connection) {
        const auto& [client, server] = std::pair(connection.ways[0].from, connection.ways[1].from);
        const linger atOnce{1, 0};
        switch (std::exchange(connection.next, Break::None)) {
        case Break::None:
            return;
        case Break::Stall:
            note(Stalled);
            connection.stalledUntil = Clock::now() + stall_;
            return;
        case Break::Silence:
            note(Silenced);
            connection.ways[connection.breakingWay].isSilent = true;
            return;
        case Break::Reset:
            note(Reset);
            for (const int socket : {client, server})
                ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            connection.isOver = true;
            return;
        case Break::End:
            note(Ended);
            // Bytes received before the break are delivered; then only the client's end is awaited.
            for (const Chunk& chunk : connection.ways[1].chunks)
                ::send(client, chunk.bytes.data(), chunk.bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            ::shutdown(client, SHUT_WR);
            ::shutdown(server, SHUT_RDWR);
            connection.ways[0].chunks.clear();
            connection.ways[1].chunks.clear();
            connection.ways[0].isSilent = true;
            connection.ways[1].from = -1;
            return;
        }
    }

    void send(Connection& connection, Way& way) {
        while (!way.chunks.empty() && (isCalm_ || way.chunks.front().due <= Clock::now())) {
            std::string& bytes = way.chunks.front().bytes;
            const ssize_t count = ::send(way.to, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count < 0) {
                connection.isOver |= errno != EAGAIN;
                return;
            }
            way.queuedBytes -= static_cast<std::size_t>(count);
            bytes.erase(0, static_cast<std::size_t>(count));
            if (bytes.empty())
                way.chunks.pop_front();
        }
        connection.isOver |= way.hasEnded && way.chunks.empty();
    }

    void note(Event event) {
        const std::lock_guard guard(mutex_);
        ++counts_[event];
    }

    const std::uint16_t serverPort_;
    const std::chrono::milliseconds stall_{std::chrono::seconds(20)};
    const std::optional<Plan> plan_;
    const Listener listener_;
    std::atomic<bool> isOver_{false};
    std::atomic<bool> isCalm_{false};
    mutable std::mutex mutex_;
    Counts counts_{}; // guarded by mutex_

    // Used by the accepting thread only.
    std::mt19937_64 random_;
    std::vector<std::jthread> connections_;
    std::jthread acceptor_;
};

} // namespace korvane::test
