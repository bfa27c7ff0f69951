#include "remote/ssh/CommandChannel.h"

#include "remote/ssh/SshError.h"

#include <array>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Maximum number of bytes read from one stream in a turn.
constexpr int bytesPerTurn = 256 * 1024;
/// Maximum time for a cancelled command to end, and the interval at which it is signalled.
constexpr auto stoppingLimit = 1s;
constexpr auto signalInterval = 100ms;
/// Maximum time for the server to close the channel of an ended command.
constexpr auto closingLimit = 2s;

Error wasCancelled() {
    return sshError(SshErrorCode::Cancelled, SshTexts::tr("The command was cancelled."));
}

} // namespace

bool Command::takeCancel() {
    if (output.isSet() || !isCancelled || !isCancelled())
        return false;
    output.set(wasCancelled());
    return true;
}

CommandChannel::CommandChannel(ssh_session session, std::shared_ptr<Command> command, std::uint64_t& received,
                               ssh_channel opened)
    : session_(session), command_(std::move(command)), received_(received),
      channel_(opened ? opened : ssh_channel_new(session)),
      stage_(opened ? Stage::Requesting : Stage::Opening) {
    callbacks_.userdata = this;
    callbacks_.channel_exit_status_function = [](ssh_session, ssh_channel, int, void* self) {
        static_cast<CommandChannel*>(self)->hasStatus_ = true;
    };
    callbacks_.channel_exit_signal_function = [](ssh_session, ssh_channel, const char* signal, int,
                                                 const char*, const char*, void* self) {
        static_cast<CommandChannel*>(self)->signal_ = QString::fromUtf8(signal);
    };
    ssh_callbacks_init(&callbacks_);
    if (channel_)
        ssh_set_channel_callbacks(channel_, &callbacks_);
}

CommandChannel::~CommandChannel() {
    if (!channel_)
        return;
    ssh_remove_channel_callbacks(channel_, &callbacks_);
    ssh_channel_free(channel_); // also closes the channel
}

CommandChannel::State CommandChannel::step(bool& hasMore) {
    if (!channel_)
        return fail(SshTexts::tr("No channel could be made."));
    isCancelled_ |= command_->takeCancel();
    if (isCancelled_ && stage_ != Stage::Closing)
        return stop();
    switch (stage_) {
    case Stage::Opening:
        return open();
    case Stage::Requesting:
        return request();
    case Stage::Running:
        return read(hasMore);
    case Stage::Closing:
        break;
    }
    return close();
}

std::optional<Clock::time_point> CommandChannel::dueAt() const {
    return stage_ == Stage::Closing ? closingEnds_ : signalDue_;
}

void CommandChannel::cancel(const Error& because) {
    command_->output.set(because);
    isCancelled_ = true;
}

CommandChannel::State CommandChannel::close() {
    if (!closingEnds_)
        closingEnds_ = Clock::now() + closingLimit;
    stage_ = Stage::Closing;
    bool hasMore = false;
    static_cast<void>(drain(false, Bytes::Dropped, hasMore));
    static_cast<void>(drain(true, Bytes::Dropped, hasMore));
    const bool isOver = ssh_channel_is_closed(channel_) || !ssh_is_connected(session_);
    return isOver || Clock::now() >= *closingEnds_ ? State::Ended : State::UnderWay;
}

CommandChannel::State CommandChannel::stop() {
    // A channel released before the server has confirmed it would stay open there.
    if (stage_ == Stage::Opening)
        return ssh_channel_open_session(channel_) == SSH_AGAIN ? State::UnderWay : State::Ended;
    // A requested command starts on the server even if the channel is closed before the answer, and can be
    // signalled only once it has started.
    if (stage_ == Stage::Requesting && request() == State::UnderWay && stage_ == Stage::Requesting)
        return State::UnderWay;
    if (stage_ != Stage::Running)
        return State::Ended;
    bool hasMore = false;
    if (drain(false, Bytes::Dropped, hasMore) == State::Ended ||
        drain(true, Bytes::Dropped, hasMore) == State::Ended)
        return State::Ended;
    if (hasStatus_ || !signal_.isEmpty() || !ssh_channel_is_open(channel_))
        return close();
    const auto now = Clock::now();
    if (!stoppingEnds_)
        stoppingEnds_ = now + stoppingLimit;
    if (now >= *stoppingEnds_)
        return State::Ended; // it does not end, so stop waiting for its output
    if (!signalDue_ || now >= *signalDue_) {
        // The server drops a signal sent before the command's process exists, so it is repeated.
        ssh_channel_request_send_signal(channel_, "TERM");
        signalDue_ = now + signalInterval;
    }
    return State::UnderWay;
}

CommandChannel::State CommandChannel::open() {
    const int result = ssh_channel_open_session(channel_);
    if (result == SSH_AGAIN)
        return State::UnderWay;
    if (result != SSH_OK)
        return ssh_is_connected(session_) ? State::Refused
                                          : fail(SshTexts::tr("No channel could be opened."));
    stage_ = Stage::Requesting;
    return request();
}

CommandChannel::State CommandChannel::request() {
    const int result = ssh_channel_request_exec(channel_, command_->text.constData());
    if (result == SSH_AGAIN)
        return State::UnderWay;
    if (result != SSH_OK)
        return fail(SshTexts::tr("The server runs no commands."));
    stage_ = Stage::Running;
    // There is no input: a command that reads it must not wait.
    ssh_channel_send_eof(channel_);
    return State::UnderWay;
}

CommandChannel::State CommandChannel::read(bool& hasMore) {
    // Both streams share one window: an unread stream would finally block the other.
    bool isLeft = false;
    if (drain(false, Bytes::Taken, isLeft) == State::Ended ||
        drain(true, Bytes::Dropped, isLeft) == State::Ended)
        return State::Ended;
    hasMore |= isLeft;
    if (isCancelled_)
        return stop();
    const bool isClosed = ssh_channel_is_closed(channel_);
    if (isLeft || !(isClosed || (hasStatus_ && ssh_channel_is_eof(channel_))))
        return State::UnderWay;
    if (!signal_.isEmpty())
        return fail(SshTexts::tr("The command was ended by the signal %1.").arg(signal_));
    if (!hasStatus_)
        return fail(SshTexts::tr("The command ended without an exit status."));
    command_->output.set(success());
    return close();
}

CommandChannel::State CommandChannel::drain(bool isStandardError, Bytes bytes, bool& hasMore) {
    static thread_local std::array<char, 1 << 16> buffer;
    for (int taken = 0; taken < bytesPerTurn;) {
        const int count =
            ssh_channel_read_nonblocking(channel_, buffer.data(), buffer.size(), isStandardError ? 1 : 0);
        if (count == SSH_ERROR) {
            // Also reported for a closed channel that has been read completely.
            return ssh_channel_is_closed(channel_) && ssh_is_connected(session_)
                       ? State::UnderWay
                       : fail(SshTexts::tr("The connection broke off."));
        }
        if (count <= 0)
            return State::UnderWay;
        taken += count;
        received_ += static_cast<std::uint64_t>(count);
        if (bytes == Bytes::Taken && !command_->sink({buffer.data(), count})) {
            command_->output.set(success());
            isCancelled_ = true; // stop it on the server, too
            return State::UnderWay;
        }
    }
    hasMore = true;
    return State::UnderWay;
}

CommandChannel::State CommandChannel::fail(const QString& text) {
    // The library's error text may be that of an earlier call.
    command_->output.set(ssh_is_connected(session_) ? sshError(SshErrorCode::Failed, text)
                                                    : connectionLost(session_));
    return State::Ended;
}

} // namespace korvane
