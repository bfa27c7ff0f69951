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

/// A bad link to a server on 127.0.0.1: what befalls each connection, and when, follows from the seed and the
/// number of bytes that have passed. One thread of its own carries all connections.
class FaultProxy {
public:
    /// How bad it gets, where it gets bad: half the delay, or a tenth of the bytes, befall as many.
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
        /// Both ends are told at once, and what was under way is gone.
        int resets = 0;
        /// The server's side is closed as if it had nothing more to say.
        int ends = 0;
        /// What one side says is lost from then on, and nobody is told: that outlasts `calm`.
        int silences = 0;
    };

    FaultProxy(std::uint16_t serverPort, std::uint64_t seed, const Faults& faults);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// From now on nothing goes wrong: stalls end, and what was held up passes. Any thread.
    void calm();
    /// So far. Any thread.
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
        /// From the client, and from the server.
        Way ways[2];
        std::chrono::milliseconds delay{0};
        std::uint64_t bytesPerSecond = 0; // 0 = any number
        Break next = Break::None;
        int breakingWay = 0;
        std::uint64_t bytesToBreak = 0;
        Clock::time_point stalledUntil;
        /// Only hears the client until it goes.
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

    // The thread's.
    std::mt19937_64 random_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::thread thread_;
};

} // namespace korvane::test
