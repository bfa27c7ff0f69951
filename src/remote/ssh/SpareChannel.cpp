#include "remote/ssh/SpareChannel.h"

#include <utility>

namespace korvane {

SpareChannel::~SpareChannel() {
    if (channel_)
        ssh_channel_free(channel_); // also closes the channel
}

SpareChannel::State SpareChannel::step() {
    if (state_ == State::Opening) {
        const int result = channel_ ? ssh_channel_open_session(channel_) : SSH_ERROR;
        if (result == SSH_AGAIN)
            return state_;
        state_ = result == SSH_OK ? State::Open : State::Gone;
    }
    if (state_ == State::Open && !(ssh_is_connected(session_) && ssh_channel_is_open(channel_)))
        state_ = State::Gone;
    return state_;
}

ssh_channel SpareChannel::take() {
    state_ = State::Gone;
    return std::exchange(channel_, nullptr);
}

} // namespace korvane
