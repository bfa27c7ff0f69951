#pragma once

#include "foundation/Result.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <functional>
#include <libssh/libssh.h>
#include <optional>
#include <unordered_map>

namespace korvane {

/// Packet types of SFTP, version 3.
enum class SftpPacket : std::uint8_t {
    Init = 1,
    Version = 2,
    Open = 3,
    Close = 4,
    LinkStat = 7,
    OpenDirectory = 11,
    ReadDirectory = 12,
    RealPath = 16,
    Stat = 17,
    StatusCode = 101,
    Handle = 102,
    Name = 104,
    Attributes = 105,
};

/// The server's SFTP subsystem over a channel of the session. Requests are sent at once and may be answered
/// in any order. Lives on the thread that owns the session, and never blocks it.
class SftpChannel {
public:
    struct Answer {
        SftpPacket type;
        /// The part after the request number.
        QByteArray body;
    };
    using Handler = std::function<void(const Result<Answer>& answer)>;

    enum class State {
        Opening,
        Open,
        /// The server refuses another channel.
        Refused,
        /// See `fault`; all requests have been answered with it.
        Failed,
        /// After `close`, until the server has closed its side.
        Closing,
        Closed,
    };

    /// `openingLimit`: maximum time until the subsystem greets. `received` counts the received bytes.
    SftpChannel(ssh_session session, std::chrono::milliseconds openingLimit, std::uint64_t& received);
    /// Answers all open requests with an error.
    ~SftpChannel();
    SftpChannel(const SftpChannel&) = delete;
    SftpChannel& operator=(const SftpChannel&) = delete;

    /// Continues as far as possible without waiting. `hasMore` is set if it stopped to give others a turn.
    State step(bool& hasMore);
    State state() const { return state_; }
    const Error& fault() const { return fault_; }
    /// Whether the subsystem has ever sent a valid greeting.
    bool hasGreeted() const { return stage_ >= Stage::Running; }
    /// The time at which `step` must be called even if nothing arrives.
    std::optional<std::chrono::steady_clock::time_point> dueAt() const;

    /// `handler` is called once: by `step`, `fail` or the destructor.
    void request(SftpPacket type, const QByteArray& body, Handler handler);
    bool isIdle() const { return handlers_.empty(); }
    /// Answers all requests with the error, and closes the channel.
    void fail(const Error& error);
    /// Closes the channel; `step` reports when the server has closed its side.
    void close();

private:
    enum class Stage { Opening, Requesting, Greeting, Running };

    void open();
    void requestSubsystem();
    void write();
    void read(bool& hasMore);
    void takePackets();
    void handlePacket(const QByteArray& packet);
    QString reason() const;

    const ssh_session session_;
    const ssh_channel channel_;
    std::uint64_t& received_;
    const std::chrono::steady_clock::time_point openingEnds_;
    std::optional<std::chrono::steady_clock::time_point> closingEnds_;
    Stage stage_ = Stage::Opening;
    State state_ = State::Opening;
    Error fault_;
    QByteArray unsent_;
    /// Requests made before the subsystem has greeted.
    QByteArray waiting_;
    QByteArray unread_;
    /// The first bytes of the subsystem's standard error.
    QByteArray standardError_;
    std::uint32_t lastNumber_ = 0;
    std::unordered_map<std::uint32_t, Handler> handlers_;
};

} // namespace korvane
