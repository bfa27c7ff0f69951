#pragma once

#include "foundation/work/Reply.h"

#include "foundation/Result.h"

#include <QByteArray>

#include <atomic>
#include <chrono>
#include <libssh/callbacks.h>
#include <libssh/libssh.h>
#include <memory>
#include <optional>

namespace korvane {

/// A command that somebody waits for.
struct Command {
    QByteArray text;
    std::atomic<bool> isCancelled{false};
    Reply<Result<QByteArray>> output;
};

/// One command on its way through a channel of its own. Lives on the thread that owns the session, which
/// never waits for it.
class CommandChannel {
public:
    enum class State {
        UnderWay,
        /// The server opens no more channels; the command has not begun, and its reply is still open.
        Refused,
        /// The reply is set.
        Ended,
    };

    CommandChannel(ssh_session session, std::shared_ptr<Command> command);
    ~CommandChannel();
    CommandChannel(const CommandChannel&) = delete;
    CommandChannel& operator=(const CommandChannel&) = delete;

    const std::shared_ptr<Command>& command() const { return command_; }
    /// Goes on as far as it can for now. `hasMore` is set when it stopped to let others have their turn.
    State step(bool& hasMore);
    /// When `step` has something to do even if nothing arrives.
    std::optional<std::chrono::steady_clock::time_point> dueAt() const { return signalDue_; }

private:
    enum class Stage { Opening, Requesting, Running };

    /// Has the server stop a command that was cancelled. `Ended` once it has stopped, or will not.
    State stop();
    State open();
    State request();
    State read(bool& hasMore);
    /// Takes what has come on one of the two streams, and keeps it where `output` is given.
    State drain(bool isStandardError, QByteArray* output, bool& hasMore);
    State fail(const QString& text);

    const ssh_session session_;
    const std::shared_ptr<Command> command_;
    const ssh_channel channel_;
    ssh_channel_callbacks_struct callbacks_{};
    Stage stage_ = Stage::Opening;
    QByteArray output_;
    bool hasStatus_ = false;
    QString signal_;
    std::optional<std::chrono::steady_clock::time_point> signalDue_;
    std::optional<std::chrono::steady_clock::time_point> stoppingEnds_;
};

} // namespace korvane
