#pragma once

#include <libssh/libssh.h>

namespace korvane {

/// A channel that waits for a command, which then begins without asking the server for a channel first. Lives
/// on the thread that owns the session.
class SpareChannel {
public:
    enum class State { Opening, Open, Gone };

    explicit SpareChannel(ssh_session session) : session_(session), channel_(ssh_channel_new(session)) {}
    ~SpareChannel();
    SpareChannel(const SpareChannel&) = delete;
    SpareChannel& operator=(const SpareChannel&) = delete;

    State state() const { return state_; }
    /// Goes on as far as it can for now.
    State step();
    /// Once open. It is the caller's to free.
    ssh_channel take();

private:
    const ssh_session session_;
    ssh_channel channel_;
    State state_ = State::Opening;
};

} // namespace korvane
