#pragma once

#include "support/Relay.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace korvane::test {

/// A bad link to a server on 127.0.0.1. The faults of each connection, and their times, follow from the seed
/// and the number of bytes passed. One thread of its own serves all connections.
class FaultProxy {
public:
    /// The worst values; as many connections get half the delay, or a tenth of the speed.
    struct Faults {
        std::chrono::milliseconds delay = std::chrono::milliseconds(200);
        std::uint64_t bytesPerSecond = 50 * 1024;
        std::chrono::milliseconds stall = std::chrono::seconds(20);
    };
    struct Counts {
        int connections = 0;
        int delayed = 0;
        int slow = 0;
        int stalls = 0;
        /// Both ends are notified at once; bytes under way are lost.
        int resets = 0;
        /// The server's side is closed as if it had ended the connection.
        int ends = 0;
        /// From then on the bytes of one side are lost without notice, even after `calm`.
        int silences = 0;
    };

    FaultProxy(std::uint16_t serverPort, std::uint64_t seed, const Faults& faults);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Ends all further faults: stalls end, and delayed bytes pass. Any thread.
    void calm();
    /// Counts so far. Any thread.
    Counts counts() const;

private:
    using Clock = std::chrono::steady_clock;
    enum class Break { None, Stall, Reset, End, Silence };
    struct Chunk {
        Clock::time_point due;
        std::string bytes;
    };
    /// One direction of a connection.
    struct Way {
        int from = -1;
        int to = -1;
        std::deque<Chunk> chunks;
        std::size_t queuedBytes = 0;
        Clock::time_point lastDue;
        bool hasEnded = false;
        bool isBlocked = false;
        bool isSilent = false;
    };
    struct Connection {
        /// From the client, then from the server.
        Way ways[2];
        std::chrono::milliseconds delay{0};
        std::uint64_t bytesPerSecond = 0; // 0 = unlimited
        Break next = Break::None;
        int breakingWay = 0;
        std::uint64_t bytesToBreak = 0;
        Clock::time_point stalledUntil;
        /// Only waits for the client to close.
        bool isOver = false;
        bool isGone = false;
    };

    void serve();
    void accept();
    void choose(Connection& connection);
    bool isStalled(const Connection& connection, Clock::time_point now) const;
    Clock::time_point nextEvent(const Connection& connection, Clock::time_point now) const;
    void receive(Connection& connection, Way& way);
    void breakOff(Connection& connection);
    void send(Connection& connection, Way& way, Clock::time_point now);
    static void close(Connection& connection, bool isReset);
    void wake() const;

    const std::uint16_t serverPort_;
    const Faults faults_;
    const Listener listener_;
    const int wakeEvent_;
    std::atomic<bool> isOver_{false};
    std::atomic<bool> isCalm_{false};
    std::atomic<int> connectionCount_{0};
    std::atomic<int> delayedCount_{0};
    std::atomic<int> slowCount_{0};
    std::atomic<int> stallCount_{0};
    std::atomic<int> resetCount_{0};
    std::atomic<int> endCount_{0};
    std::atomic<int> silenceCount_{0};

    // Used by the thread only.
    std::mt19937_64 random_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::thread thread_;
};

} // namespace korvane::test
