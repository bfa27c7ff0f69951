#pragma once

#include "support/Listener.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
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
    /// The worst values; as many connections get half the delay, or a tenth of the speed.
    struct Faults {
        std::chrono::milliseconds delay = std::chrono::milliseconds(200);
        std::uint64_t bytesPerSecond = 50 * 1024;
        std::chrono::milliseconds stall = std::chrono::seconds(20);
    };
    enum Event : std::size_t { Connected, Delayed, Slowed, Stalled, Reset, Ended, Silenced, eventKinds };
    using Counts = std::array<int, eventKinds>;

    /// The faults of each connection, and their times, follow from the seed and the number of bytes passed.
    FaultProxy(std::uint16_t serverPort, std::uint64_t seed, const Faults& faults);
    /// The same for every connection.
    FaultProxy(std::uint16_t serverPort, const Plan& plan);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Ends all further faults: stalls end, and delayed bytes pass. Any thread.
    void calm() { isCalm_ = true; }
    /// Counts so far. Any thread.
    Counts counts() const;

private:
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

    void accept();
    Plan drawn();
    void serve(int client, const Plan& plan);
    void receive(Connection& connection, std::size_t place);
    void breakOff(Connection& connection);
    void send(Connection& connection, Way& way);
    void note(Event event);

    const std::uint16_t serverPort_;
    const Faults faults_;
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
