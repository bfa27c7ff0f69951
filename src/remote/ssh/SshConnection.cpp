#include "remote/ssh/SshConnection.h"

#include "foundation/FatalError.h"
#include "foundation/work/OperationQueue.h"
#include "remote/ssh/NMSSHLogger.h"
#include "remote/ssh/SshError.h"

#include <algorithm>
#include <array>
#include <libssh/server.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;

/// Servers usually allow ten channels: eight for commands, one for files, and one spare.
constexpr std::size_t mostCommands = 8;
constexpr std::size_t mostChannels = mostCommands + 1;
/// Maximum number of counts, and of polls, at once.
constexpr std::ptrdiff_t mostOfOneUse = 2;
/// Maximum time to stop unconfirmed commands at the end of a connection, and again for the server to receive
/// the farewell.
constexpr auto endingLimit = 500ms;
/// Interval at which commands are polled for cancellation.
constexpr auto cancelInterval = 50ms;
/// How long fewer channels are opened after the server has refused one.
constexpr auto limitDuration = 30s;
/// Interval of retries while the server opens no channel at all: one that has just been closed may still
/// count there.
constexpr auto retryInterval = 100ms;
constexpr auto retryDuration = 5s;

/// As a timeout for poll(2).
int millisecondsUntil(std::chrono::steady_clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now());
    return static_cast<int>(std::max(left, 0ms).count());
}

bool becomesReady(int descriptor, short events, std::chrono::steady_clock::time_point limit) {
    pollfd watched{descriptor, events, 0};
    return ::poll(&watched, 1, millisecondsUntil(limit)) > 0;
}

/// Closes the connection after the peer has received everything sent.
void hangUp(int descriptor, std::chrono::steady_clock::time_point limit) {
    // Closing with unread bytes would reset the connection, and the server might not receive the farewell.
    ::shutdown(descriptor, SHUT_WR);
    static thread_local std::array<char, 1 << 16> unread;
    while (std::chrono::steady_clock::now() < limit && becomesReady(descriptor, POLLIN, limit) &&
           ::read(descriptor, unread.data(), unread.size()) > 0)
        ;
    ::close(descriptor);
}

/// Resets the event.
void takeWakes(int event) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto taken = ::read(event, &count, sizeof count);
}

/// Dropbear ends the connection if several commands run at once, and signals only the shell of a command.
bool isDropbear(ssh_session session) {
    const char* const banner = ssh_get_serverbanner(session);
    return banner && QByteArray(banner).toLower().contains("dropbear");
}

} // namespace

std::shared_ptr<SshConnection> SshConnection::start(SessionSettings settings,
                                                    std::function<void(const std::optional<Error>&)> ended) {
    std::shared_ptr<SshConnection> connection(new SshConnection(std::move(settings), std::move(ended)));
    // The connection's thread keeps it alive until it has ended.
    connection->queue_.run([connection] { connection->run(); });
    return connection;
}

SshConnection::SshConnection(SessionSettings settings, std::function<void(const std::optional<Error>&)> ended)
    : settings_(std::move(settings)), ended_(std::move(ended)),
      wakeEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), queue_("SSH connection", 1),
      commandLimit_(mostCommands), channelLimit_(mostChannels) {
    if (wakeEvent_ < 0)
        fatalError("no event descriptor for a connection");
}

SshConnection::~SshConnection() {
    ::close(wakeEvent_);
}

Status SshConnection::login(LoginStep step) {
    const auto reply = std::make_shared<Reply<Status>>();
    {
        const MutexLock guard(mutex_);
        if (hasEnded_)
            return endError_.value_or(notConnected());
        loginJobs_.push_back({std::move(step), reply});
    }
    wake();
    return reply->wait();
}

void SshConnection::setAuthorized() {
    isAuthorized_.store(true, std::memory_order_release);
    wake();
}

bool SshConnection::isAuthorized() const {
    return isAuthorized_.load(std::memory_order_acquire) && !hasEnded();
}

bool SshConnection::hasEnded() const {
    const MutexLock guard(mutex_);
    return hasEnded_;
}

Status SshConnection::execute(const QByteArray& command, CommandUse use, OutputSink sink,
                              std::function<bool()> isCancelled) {
    const auto queued = std::make_shared<Command>();
    queued->text = command;
    queued->use = use;
    queued->sink = std::move(sink);
    queued->isCancelled = std::move(isCancelled);
    {
        const MutexLock guard(mutex_);
        if (hasEnded_ || !isAuthorized_.load(std::memory_order_acquire))
            return endError_.value_or(notConnected());
        newCommands_.push_back(queued);
    }
    wake();
    return queued->output.wait();
}

void SshConnection::withFiles(FileWork work) {
    Error error;
    {
        const MutexLock guard(mutex_);
        if (!hasEnded_ && isAuthorized_.load(std::memory_order_acquire)) {
            newFileWork_.push_back(std::move(work));
            wake();
            return;
        }
        error = endError_.value_or(notConnected());
    }
    work.fail(error);
}

void SshConnection::end(const std::optional<Error>& because) {
    {
        const MutexLock guard(mutex_);
        if (!hasEnded_)
            endError_ = because;
        hasEnded_ = true;
    }
    socket_.interrupt();
    wake();
}

void SshConnection::wake() const {
    const std::uint64_t one = 1;
    // Fails only if the counter is full, and then the thread wakes anyway.
    [[maybe_unused]] const auto written = ::write(wakeEvent_, &one, sizeof one);
}

void SshConnection::run() {
    session_ = ssh_new();
    if (!session_)
        fatalError("no memory for a connection");
    ssh_set_blocking(session_, 0);
    ssh_set_counters(session_, &received_, nullptr);
    login_.emplace(session_, socket_, settings_,
                   [this](Clock::time_point deadline) { return awaitServer(deadline); });
    heard_ = contentSeen_ = Clock::now();
    while (!hasEnded()) {
        NMSSHLogger::sharedLogger().applyToThisThread();
        takeJobs();
        const std::uint64_t receivedBefore = received_.in_bytes;
        if (isAuthorized())
            checkServer();
        bool hasMore = stepCommands();
        hasMore |= stepFiles();
        // Bytes read from the socket by one call may belong to any channel.
        hasMore |= received_.in_bytes != receivedBefore;
        if (!hasEnded())
            waitForEvents(hasMore);
    }
    finish();
}

Status SshConnection::awaitServer(Clock::time_point deadline) {
    pollfd watched[] = {{wakeEvent_, POLLIN, 0}, {ssh_get_fd(session_), POLLIN, 0}};
    if (ssh_get_status(session_) & SSH_WRITE_PENDING)
        watched[1].events |= POLLOUT;
    for (;;) {
        {
            const MutexLock guard(mutex_);
            if (hasEnded_)
                return endError_.value_or(notConnected());
        }
        if (Clock::now() >= deadline)
            return timedOut();
        if (watched[1].fd < 0)
            return success(); // the next call reports why
        ::poll(watched, 2, millisecondsUntil(deadline));
        takeWakes(wakeEvent_);
        if (watched[1].revents)
            return success();
    }
}

void SshConnection::takeJobs() {
    for (;;) {
        LoginJob job;
        {
            const MutexLock guard(mutex_);
            std::move(newCommands_.begin(), newCommands_.end(), std::back_inserter(commands_));
            newCommands_.clear();
            std::move(newFileWork_.begin(), newFileWork_.end(), std::back_inserter(fileWork_));
            newFileWork_.clear();
            if (loginJobs_.empty() || hasEnded_)
                return;
            job = std::move(loginJobs_.front());
            loginJobs_.pop_front();
        }
        Status outcome = job.step(*login_);
        heard_ = Clock::now();
        if (isDropbear(session_)) {
            commandLimit_ = 1;
            stopsOnlyShells_ = true;
        }
        job.reply->set(std::move(outcome));
    }
}

// ---- Commands

bool SshConnection::stepCommands() {
    // Commands that still wait for a channel can be cancelled too.
    std::erase_if(commands_, [](const std::shared_ptr<Command>& command) { return command->takeCancel(); });
    startCommands();
    bool hasMore = false;
    for (std::size_t index = 0; index < channels_.size();) {
        const CommandChannel::State state = channels_[index]->step(hasMore);
        if (state == CommandChannel::State::UnderWay) {
            ++index;
            continue;
        }
        const std::shared_ptr<Command> command = channels_[index]->command();
        if (state == CommandChannel::State::Ended) {
            retriesEnd_.reset();
            hasAnswered_ = true;
            isSpareWanted_ |= command->use == CommandUse::Rows;
        }
        channels_.erase(channels_.begin() + static_cast<std::ptrdiff_t>(index));
        hasMore = true; // another command may start
        if (state == CommandChannel::State::Refused)
            commandRefused(command);
    }
    stepSpare();
    return hasMore;
}

void SshConnection::stepSpare() {
    if (!spare_ && isSpareWanted_ && hasSpareRoom_ && commandLimit_ > 1)
        spare_.emplace(session_);
    if (!spare_)
        return;
    const SpareChannel::State state = spare_->step();
    if (state == SpareChannel::State::Gone)
        hasSpareRoom_ = false;
    // A channel released before the server has confirmed it would stay open there.
    if (state != SpareChannel::State::Opening && !hasSpareRoom_)
        spare_.reset();
}

void SshConnection::startCommands() {
    const auto now = Clock::now();
    if (limitEnds_ && now >= *limitEnds_) {
        limitEnds_.reset();
        channelLimit_ = mostChannels;
    }
    if (retryAt_ && now < *retryAt_)
        return;
    for (auto next = nextCommand(); next != commands_.end(); next = nextCommand()) {
        ssh_channel opened = nullptr;
        if (spare_ && (*next)->use == CommandUse::Rows && spare_->step() == SpareChannel::State::Open) {
            opened = spare_->take();
            spare_.reset();
            isSpareWanted_ = false;
        }
        channels_.push_back(
            std::make_unique<CommandChannel>(session_, std::move(*next), contentBytes_, opened));
        commands_.erase(next);
    }
    if (!commands_.empty() && channels_.empty() && files_ && fileWork_.empty() && files_->channel.isIdle())
        files_->channel.close();
}

std::deque<std::shared_ptr<Command>>::iterator SshConnection::nextCommand() {
    // If there is no room for both, a waiting request for files goes before the next command.
    const bool filesWait = !fileWork_.empty() && !files_;
    const std::size_t forFiles = files_ || filesWait ? 1 : 0;
    const std::size_t room = std::min(commandLimit_, channelLimit_ - std::min(channelLimit_, forFiles));
    if (channels_.size() >= room)
        return commands_.end();
    const auto isRows = [](const std::shared_ptr<Command>& command) {
        return command->use == CommandUse::Rows;
    };
    if (const auto rows = std::ranges::find_if(commands_, isRows); rows != commands_.end())
        return rows;
    // One place is reserved for rows.
    const auto others = static_cast<std::size_t>(
        std::ranges::count_if(channels_, [&](const auto& channel) { return !isRows(channel->command()); }));
    if (room > 1 && others + 1 >= room)
        return commands_.end();
    return std::ranges::find_if(commands_, [this](const std::shared_ptr<Command>& command) {
        const auto running = std::ranges::count_if(
            channels_, [&](const auto& channel) { return channel->command()->use == command->use; });
        return command->use == CommandUse::Reading || running < mostOfOneUse;
    });
}

void SshConnection::commandRefused(std::shared_ptr<Command> command) {
    if (noteRefusal())
        commands_.push_front(std::move(command));
    else
        command->output.set(
            sshError(SshErrorCode::Failed, SshTexts::tr("The server opens no channel for the command.")));
}

bool SshConnection::noteRefusal() {
    const auto now = Clock::now();
    hasSpareRoom_ = false;
    if (spare_) {
        stepSpare();
        retryAt_ = now + retryInterval;
        return true;
    }
    if (openChannels() > 0) {
        channelLimit_ = openChannels();
        limitEnds_ = now + limitDuration;
        retriesEnd_.reset();
        return true;
    }
    if (!retriesEnd_)
        retriesEnd_ = now + retryDuration;
    retryAt_ = now + retryInterval;
    if (now < *retriesEnd_)
        return true;
    retriesEnd_.reset();
    return false;
}

// ---- Files

bool SshConnection::stepFiles() {
    beginFileWork();
    if (!files_)
        return false;
    bool hasMore = false;
    switch (const SftpChannel::State state = files_->channel.step(hasMore)) {
    case SftpChannel::State::Opening:
    case SftpChannel::State::Closing:
        return hasMore;
    case SftpChannel::State::Open:
        retriesEnd_.reset();
        return hasMore || !fileWork_.empty();
    default:
        filesEnded(state);
        return true;
    }
}

void SshConnection::beginFileWork() {
    if (fileWork_.empty())
        return;
    if (filesFault_) {
        failFileWork(*filesFault_);
        return;
    }
    if (!files_) {
        const bool isTooEarly = retryAt_ && Clock::now() < *retryAt_;
        if (isTooEarly || openChannels() >= channelLimit_)
            return;
        files_.emplace(session_, settings_.filesLimit, contentBytes_);
    }
    if (files_->channel.state() != SftpChannel::State::Open)
        return;
    for (const FileWork& work : std::exchange(fileWork_, {})) {
        contentSeen_ = Clock::now();
        work.begin(files_->files);
    }
}

void SshConnection::filesEnded(SftpChannel::State state) {
    const Error fault = files_->channel.fault();
    const bool hasGreeted = files_->channel.hasGreeted();
    files_.reset();
    if (state == SftpChannel::State::Refused) {
        if (!noteRefusal())
            failFileWork(
                sshError(SshErrorCode::Failed, SshTexts::tr("The server opens no channel for its files.")));
    } else if (state == SftpChannel::State::Failed && !hasGreeted) {
        filesFault_ = fault;
        failFileWork(fault);
    }
}

void SshConnection::failFileWork(const Error& error) {
    for (const FileWork& work : std::exchange(fileWork_, {}))
        work.fail(error);
}

// ---- The connection

void SshConnection::checkServer() {
    ssh_execute_message_callbacks(session_); // receives data even if no channel is open
    if (!ssh_is_connected(session_)) {
        end(connectionLost(session_));
        return;
    }
    const auto now = Clock::now();
    if (received_.in_bytes != heardBytes_) {
        heardBytes_ = received_.in_bytes;
        heard_ = now;
        asked_.reset();
    } else if (!asked_ && now - heard_ >= settings_.keepAliveInterval) {
        // The first call may only consume an earlier answer; of two calls, at least one sends a request.
        ssh_send_keepalive(session_);
        ssh_send_keepalive(session_);
        asked_ = now;
    } else if (asked_ && now - *asked_ >= settings_.unansweredLimit) {
        end(timedOut());
    }
    checkFiles(now);
}

void SshConnection::checkFiles(Clock::time_point now) {
    if (std::exchange(contentBytesBefore_, contentBytes_) != contentBytes_)
        contentSeen_ = now;
    // While other data arrives over a slow link, the answer may be delayed.
    if (files_ && !files_->channel.isIdle() && now - contentSeen_ >= settings_.unansweredLimit)
        files_->channel.fail(
            sshError(SshErrorCode::TimedOut,
                     SshTexts::tr("The server does not answer when it is asked for its files.")));
}

SshConnection::Clock::time_point SshConnection::nextDue(Clock::time_point latest) const {
    const auto isWatched = [](const auto& command) { return command->isCancelled != nullptr; };
    const auto now = Clock::now();
    for (const auto& channel : channels_) {
        latest = std::min(latest, channel->dueAt().value_or(latest));
        if (isWatched(channel->command()) && !channel->isClosing())
            latest = std::min(latest, now + cancelInterval);
    }
    if (std::any_of(commands_.begin(), commands_.end(), isWatched))
        latest = std::min(latest, now + cancelInterval);
    if (!commands_.empty() || !fileWork_.empty()) {
        for (const auto& due : {retryAt_, limitEnds_}) {
            if (due && *due > now)
                latest = std::min(latest, *due);
        }
    }
    if (files_) {
        latest = std::min(latest, files_->channel.dueAt().value_or(latest));
        if (!files_->channel.isIdle())
            latest = std::min(latest, contentSeen_ + settings_.unansweredLimit);
    }
    return latest;
}

void SshConnection::waitForEvents(bool hasMore) {
    const bool isOpen = isAuthorized();
    pollfd watched[] = {{wakeEvent_, POLLIN, 0}, {isOpen ? ssh_get_fd(session_) : -1, POLLIN, 0}};
    if (isOpen && (ssh_get_status(session_) & SSH_WRITE_PENDING))
        watched[1].events |= POLLOUT;
    // Until its first command, a server holds back data while we delay acknowledgements.
    const int yes = 1;
    if (isOpen && !hasAnswered_)
        ::setsockopt(ssh_get_fd(session_), IPPROTO_TCP, TCP_QUICKACK, &yes, sizeof yes);
    int timeout = -1;
    if (hasMore) {
        timeout = 0;
    } else if (isOpen) {
        timeout = millisecondsUntil(
            nextDue(asked_ ? *asked_ + settings_.unansweredLimit : heard_ + settings_.keepAliveInterval));
    }
    ::poll(watched, 2, timeout);
    takeWakes(wakeEvent_);
}

void SshConnection::stopCommands(const Error& because) {
    for (const auto& channel : channels_)
        channel->cancel(because);
    const auto limit = Clock::now() + endingLimit;
    for (;;) {
        std::erase_if(channels_, [](const auto& channel) {
            bool hasMore = false;
            return channel->step(hasMore) != CommandChannel::State::UnderWay || channel->isClosing();
        });
        if (channels_.empty() || Clock::now() >= limit || !ssh_is_connected(session_))
            break;
        pollfd watched{ssh_get_fd(session_), POLLIN, 0};
        ::poll(&watched, 1, millisecondsUntil(nextDue(limit)));
    }
    channels_.clear();
}

void SshConnection::finish() {
    takeJobs();
    std::deque<LoginJob> loginJobs;
    std::optional<Error> endedBy;
    {
        const MutexLock guard(mutex_);
        loginJobs.swap(loginJobs_);
        endedBy = endError_;
    }
    const Error error = endedBy.value_or(notConnected());
    for (const auto& command : commands_)
        command->output.set(error);
    for (const LoginJob& job : loginJobs)
        job.reply->set(error);
    failFileWork(error);
    if (files_)
        files_->channel.fail(error);
    stopCommands(error);
    spare_.reset();
    files_.reset();
    login_.reset();
    if (isAuthorized_.load(std::memory_order_acquire))
        ended_(endedBy);
    told_.set(true);
    disconnect();
}

void SshConnection::disconnect() {
    const auto limit = Clock::now() + endingLimit;
    // Sends the remaining data. The library sends the farewell at once only after it has seen that the socket
    // is writable.
    do
        ssh_execute_message_callbacks(session_);
    while (ssh_is_connected(session_) && (ssh_get_status(session_) & SSH_WRITE_PENDING) &&
           becomesReady(ssh_get_fd(session_), POLLOUT, limit));
    // The library closes the descriptor after an error and forgets it otherwise.
    const int descriptor = ssh_get_fd(session_);
    ssh_disconnect(session_);
    ssh_free(session_);
    session_ = nullptr;
    if (descriptor >= 0)
        hangUp(descriptor, limit);
    socket_.endProgram();
}

} // namespace korvane
