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

/// A command that somebody waits for.
struct Command {
    QByteArray text;
    CommandUse use = CommandUse::Rows;
    OutputSink sink;
    /// Called until the output is set, on the thread that owns the session. May be empty.
    std::function<bool()> isCancelled;
    /// That the sink has got all that it wants.
    Reply<Status> output;

    /// Whether nobody waits for it any longer; sets the output then.
    bool takeCancel();
};

/// One command on its way through a channel of its own. Lives on the thread that owns the session, which
/// never waits for it.
class CommandChannel {
public:
    enum class State {
        UnderWay,
        /// The server opens no more channels; the command has not begun, and its reply is still open.
        Refused,
        /// The output is set, and the channel is closed on both sides.
        Ended,
    };

    /// `received` counts the bytes that have come. `opened`: a channel to use, which is freed here; otherwise
    /// one is opened.
    CommandChannel(ssh_session session, std::shared_ptr<Command> command, std::uint64_t& received,
                   ssh_channel opened = nullptr);
    ~CommandChannel();
    CommandChannel(const CommandChannel&) = delete;
    CommandChannel& operator=(const CommandChannel&) = delete;

    const std::shared_ptr<Command>& command() const { return command_; }
    /// Goes on as far as it can for now. `hasMore` is set when it stopped to let others have their turn.
    State step(bool& hasMore);
    /// When `step` has something to do even if nothing arrives.
    std::optional<std::chrono::steady_clock::time_point> dueAt() const;
    /// The output is set, and only the server's end of the channel is still open.
    bool isClosing() const { return stage_ == Stage::Closing; }
    /// Sets the output to the error, and has the server stop the command.
    void cancel(const Error& because);

private:
    enum class Stage { Opening, Requesting, Running, Closing };

    /// Has the server stop a command that was cancelled. `Ended` once it has stopped, or will not.
    State stop();
    State open();
    State request();
    State read(bool& hasMore);
    enum class Bytes { Taken, Dropped };
    /// Takes what has come on one of the two streams.
    State drain(bool isStandardError, Bytes bytes, bool& hasMore);
    State fail(const QString& text);
    /// The output is set: waits for the server to close the channel, which frees the place that it has there.
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
