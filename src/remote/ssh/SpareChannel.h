#pragma once

#include <libssh/libssh.h>

namespace korvane {

/// A channel opened ahead, so that the next command starts without a round trip to open one. Lives on the
/// thread that owns the session.
class SpareChannel {
public:
    enum class State { Opening, Open, Gone };

    explicit SpareChannel(ssh_session session) : session_(session), channel_(ssh_channel_new(session)) {}
    ~SpareChannel();
    SpareChannel(const SpareChannel&) = delete;
    SpareChannel& operator=(const SpareChannel&) = delete;

    State state() const { return state_; }
    /// Continues as far as possible without waiting.
    State step();
    /// Call once open. The caller must free the channel.
    ssh_channel take();

private:
    const ssh_session session_;
    ssh_channel channel_;
    State state_ = State::Opening;
};

} // namespace korvane
