#pragma once

#include "foundation/Result.h"
#include "foundation/work/Reply.h"
#include "remote/ssh/CommandUse.h"
#include "remote/ssh/OutputSink.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <functional>
#include <libssh/callbacks.h>
#include <libssh/libssh.h>
#include <memory>
#include <optional>

namespace korvane {

/// A command whose caller waits for the output.
struct Command {
    QByteArray text;
    CommandUse use = CommandUse::Rows;
    OutputSink sink;
    /// Polled until the output is set, on the thread that owns the session. May be empty.
    std::function<bool()> isCancelled;
    /// The outcome; success once the sink has received all that it wants.
    Reply<Status> output;

    /// Whether the caller has cancelled the command; sets the output then.
    bool takeCancel();
};

/// Runs one command in a channel of its own. Lives on the thread that owns the session, and never blocks it.
class CommandChannel {
public:
    enum class State {
        UnderWay,
        /// The server refuses another channel; the command has not started, and its output is not set.
        Refused,
        /// The output is set, and the channel is closed on both sides.
        Ended,
    };

    /// `received` counts the received bytes. `opened`: an open channel to use, which is freed here; null to
    /// open one.
    CommandChannel(ssh_session session, std::shared_ptr<Command> command, std::uint64_t& received,
                   ssh_channel opened = nullptr);
    ~CommandChannel();
    CommandChannel(const CommandChannel&) = delete;
    CommandChannel& operator=(const CommandChannel&) = delete;

    const std::shared_ptr<Command>& command() const { return command_; }
    /// Continues as far as possible without waiting. `hasMore` is set if it stopped to give others a turn.
    State step(bool& hasMore);
    /// The time at which `step` must be called even if nothing arrives.
    std::optional<std::chrono::steady_clock::time_point> dueAt() const;
    /// The output is set, and only the server's side of the channel is still open.
    bool isClosing() const { return stage_ == Stage::Closing; }
    /// Sets the output to the error, and stops the command on the server.
    void cancel(const Error& because);

private:
    enum class Stage { Opening, Requesting, Running, Closing };

    /// Stops a cancelled command on the server. `Ended` once it has stopped or cannot be stopped.
    State stop();
    State open();
    State request();
    State read(bool& hasMore);
    enum class Bytes { Taken, Dropped };
    /// Reads the available bytes of one of the two streams.
    State drain(bool isStandardError, Bytes bytes, bool& hasMore);
    State fail(const QString& text);
    /// The output is set: waits for the server to close the channel, which counts towards its limit until
    /// then.
    State close();

    const ssh_session session_;
    const std::shared_ptr<Command> command_;
    std::uint64_t& received_;
    const ssh_channel channel_;
    ssh_channel_callbacks_struct callbacks_{};
    Stage stage_ = Stage::Opening;
    bool hasStatus_ = false;
    QString signal_;
    std::optional<std::chrono::steady_clock::time_point> signalDue_;
    bool isCancelled_ = false;
    std::optional<std::chrono::steady_clock::time_point> stoppingEnds_;
    std::optional<std::chrono::steady_clock::time_point> closingEnds_;
};

} // namespace korvane
