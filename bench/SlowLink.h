#pragma once

#include "Timing.h"

#include "support/Listener.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace korvane::bench {

/// A link of a known speed to a server on 127.0.0.1. Counts the bytes it carries. One own thread serves all
/// connections.
class SlowLink {
public:
    struct Speed {
        /// Delay; half of it in each direction.
        std::chrono::milliseconds roundTrip{0};
        /// In each direction, for all connections together; 0 = unlimited.
        std::uint64_t bytesPerSecond = 0;
    };

    SlowLink(std::uint16_t serverPort, const Speed& speed);
    ~SlowLink();
    SlowLink(const SlowLink&) = delete;
    SlowLink& operator=(const SlowLink&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Bytes carried so far in both directions. Any thread.
    std::uint64_t bytes() const { return bytes_; }

private:
    struct Packet {
        Clock::time_point due;
        std::string bytes;
    };
    /// One direction of a connection.
    struct Way {
        int from = -1;
        int to = -1;
        std::deque<Packet> packets;
        std::size_t queuedBytes = 0;
        bool hasEnded = false;
        bool isBlocked = false;
        /// The end of input has been passed on to the receiver.
        bool isOver = false;
    };
    struct Connection {
        /// [0]: from the client, [1]: from the server.
        Way ways[2];
        bool isBroken = false;
    };

    void serve();
    void accept();
    void receive(Connection& connection, std::size_t direction);
    static void send(Connection& connection, Way& way, Clock::time_point now);
    static bool isOver(const Connection& connection);

    const std::uint16_t serverPort_;
    const Speed speed_;
    const test::Listener listener_;
    const int endEvent_;
    std::atomic<std::uint64_t> bytes_{0};

    // Used only by the thread.
    std::vector<std::unique_ptr<Connection>> connections_;
    /// Time at which the last packet of each direction is sent completely.
    Clock::time_point busyUntil_[2];
    std::thread thread_;
};

} // namespace korvane::bench
