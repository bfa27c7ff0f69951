#include "remote/ssh/SftpChannel.h"

#include "remote/ssh/SshError.h"

#include <QDataStream>
#include <QIODevice>

#include <algorithm>
#include <array>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr quint32 protocolVersion = 3;
/// In bytes; servers send up to 256 KiB.
constexpr quint32 largestPacket = 512 * 1024;
/// Maximum number of bytes read in one turn.
constexpr int largestTurn = 256 * 1024;
constexpr qsizetype longestReason = 300;
/// Maximum time for the server to close its side of the channel.
constexpr auto closeWait = 2s;

QByteArray packetOf(SftpPacket type, const QByteArray& content) {
    QByteArray packet;
    QDataStream stream(&packet, QIODevice::WriteOnly);
    stream << static_cast<quint32>(content.size() + 1) << static_cast<quint8>(type);
    return packet + content;
}

QByteArray numberBytes(quint32 number) {
    QByteArray bytes;
    QDataStream(&bytes, QIODevice::WriteOnly) << number;
    return bytes;
}

quint32 numberAt(const QByteArray& bytes, qsizetype offset) {
    quint32 number = 0;
    QDataStream(bytes.sliced(offset, sizeof number)) >> number;
    return number;
}

} // namespace

SftpChannel::SftpChannel(ssh_session session, std::chrono::milliseconds openingLimit, std::uint64_t& received)
    : session_(session), channel_(ssh_channel_new(session)), received_(received),
      openingEnds_(Clock::now() + openingLimit) {}

SftpChannel::~SftpChannel() {
    fail(notConnected());
    if (channel_)
        ssh_channel_free(channel_);
}

std::optional<Clock::time_point> SftpChannel::dueAt() const {
    if (state_ == State::Opening)
        return openingEnds_;
    return state_ == State::Closing ? closingEnds_ : std::nullopt;
}

SftpChannel::State SftpChannel::step(bool& hasMore) {
    if (!channel_)
        fail(sshError(SshErrorCode::Failed, SshTexts::tr("No channel could be made.")));
    if (stage_ == Stage::Opening)
        open();
    if (stage_ == Stage::Requesting)
        requestSubsystem();
    if (stage_ >= Stage::Greeting && state_ != State::Failed && state_ != State::Closed) {
        write();
        read(hasMore);
        write(); // requests made by the handlers
    }
    if (state_ == State::Opening && Clock::now() >= openingEnds_)
        fail(sshError(SshErrorCode::TimedOut,
                      SshTexts::tr("The server does not answer when it is asked for its files.")));
    return state_;
}

void SftpChannel::open() {
    const int result = ssh_channel_open_session(channel_);
    if (result == SSH_AGAIN)
        return;
    if (result == SSH_OK)
        stage_ = Stage::Requesting;
    else if (ssh_is_connected(session_))
        state_ = State::Refused;
    else
        fail(connectionLost(session_));
}

void SftpChannel::requestSubsystem() {
    const int result = ssh_channel_request_sftp(channel_);
    if (result == SSH_AGAIN)
        return;
    if (result != SSH_OK) {
        fail(ssh_is_connected(session_) ? sshError(SshErrorCode::Failed, reason())
                                        : connectionLost(session_));
        return;
    }
    stage_ = Stage::Greeting;
    unsent_ = packetOf(SftpPacket::Init, numberBytes(protocolVersion));
}

void SftpChannel::request(SftpPacket type, const QByteArray& body, Handler handler) {
    if (state_ != State::Opening && state_ != State::Open) {
        handler(state_ == State::Failed ? fault_ : notConnected());
        return;
    }
    const std::uint32_t number = ++lastNumber_;
    handlers_.emplace(number, std::move(handler));
    (stage_ == Stage::Running ? unsent_ : waiting_) += packetOf(type, numberBytes(number) + body);
}

void SftpChannel::write() {
    while (state_ != State::Failed && !unsent_.isEmpty()) {
        const int written =
            ssh_channel_write(channel_, unsent_.constData(), static_cast<std::uint32_t>(unsent_.size()));
        if (written <= 0)
            return; // the server accepts no more for now; `read` detects a lost connection
        unsent_.remove(0, written);
    }
}

void SftpChannel::read(bool& hasMore) {
    static thread_local std::array<char, 1 << 16> buffer;
    bool isLeft = false;
    // Both streams share one window: an unread stream would finally block the other.
    for (const int isStandardError : {0, 1}) {
        for (int taken = 0; !isLeft;) {
            const int count =
                ssh_channel_read_nonblocking(channel_, buffer.data(), buffer.size(), isStandardError);
            if (count <= 0)
                break;
            taken += count;
            received_ += static_cast<std::uint64_t>(count);
            if (state_ == State::Closing)
                continue;
            if (!isStandardError)
                unread_.append(buffer.data(), count);
            else
                standardError_.append(buffer.data(),
                                      std::min<qsizetype>(count, longestReason - standardError_.size()));
            isLeft = taken >= largestTurn;
        }
    }
    hasMore |= isLeft;
    if (state_ != State::Closing)
        takePackets();
    if (state_ == State::Failed || isLeft)
        return;
    if (state_ == State::Closing) {
        if (ssh_channel_is_closed(channel_) || Clock::now() >= *closingEnds_)
            state_ = State::Closed;
    } else if (!ssh_is_connected(session_)) {
        fail(connectionLost(session_));
    } else if (ssh_channel_is_closed(channel_) || ssh_channel_is_eof(channel_)) {
        fail(sshError(SshErrorCode::Failed, reason()));
    }
}

void SftpChannel::takePackets() {
    qsizetype offset = 0;
    while (state_ != State::Failed && unread_.size() - offset >= 4) {
        const quint32 length = numberAt(unread_, offset);
        if (length == 0 || length > largestPacket) {
            fail(sshError(SshErrorCode::Failed,
                          stage_ == Stage::Greeting
                              ? SshTexts::tr("The server prints text at login, which hides its files.")
                              : SshTexts::tr("What the server says of its files makes no sense.")));
            return;
        }
        if (unread_.size() - offset - 4 < static_cast<qsizetype>(length))
            break;
        const QByteArray packet = unread_.sliced(offset + 4, length);
        offset += 4 + static_cast<qsizetype>(length);
        handlePacket(packet);
    }
    unread_.remove(0, offset);
}

void SftpChannel::handlePacket(const QByteArray& packet) {
    const auto type = static_cast<SftpPacket>(packet.front());
    if (stage_ == Stage::Greeting) {
        if (type != SftpPacket::Version) {
            fail(sshError(SshErrorCode::Failed, reason()));
            return;
        }
        stage_ = Stage::Running;
        state_ = State::Open;
        unsent_ += std::exchange(waiting_, {});
        return;
    }
    if (packet.size() < 5)
        return;
    const auto handler = handlers_.extract(numberAt(packet, 1));
    if (!handler.empty())
        handler.mapped()(Answer{type, packet.sliced(5)});
}

void SftpChannel::fail(const Error& error) {
    if (state_ != State::Closed)
        state_ = State::Failed;
    fault_ = error;
    for (const auto& [number, handler] : std::exchange(handlers_, {}))
        handler(error);
}

void SftpChannel::close() {
    if (state_ != State::Open)
        return;
    state_ = State::Closing;
    closingEnds_ = Clock::now() + closeWait;
    // The subsystem ends at the end of its input, and the server then closes the channel.
    ssh_channel_send_eof(channel_);
}

QString SftpChannel::reason() const {
    const QString told = QString::fromUtf8(standardError_).simplified();
    const QString text = SshTexts::tr("The server gives no access to its files.");
    return told.isEmpty() ? text : text + u' ' + told;
}

} // namespace korvane
