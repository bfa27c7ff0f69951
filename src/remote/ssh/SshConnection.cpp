#include "remote/ssh/SshConnection.h"

#include "foundation/FatalError.h"
#include "foundation/work/OperationQueue.h"
#include "remote/ssh/NMSSHLogger.h"
#include "remote/ssh/SshError.h"

#include <libssh/server.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace korvane {
namespace {

using namespace std::chrono_literals;

/// Servers allow ten channels as a rule: eight for commands, one for files, and one to spare.
constexpr std::size_t commandChannels = 8;
/// Maximum time that the end of a connection waits to stop commands that the server has not confirmed yet.
constexpr auto endingLimit = 500ms;
/// How often whoever waits looks whether the result is still wanted.
constexpr auto patience = 20ms;

/// As a limit for poll(2).
int millisecondsUntil(std::chrono::steady_clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now());
    return static_cast<int>(std::max(left, 0ms).count());
}

} // namespace

class SshConnection::BlockingCall {
public:
    explicit BlockingCall(SshConnection& connection) : connection_(connection) {
        const std::lock_guard guard(connection_.mutex_);
        connection_.isBlocking_ = true;
        connection_.blockingSince_ = Clock::now();
        if (connection_.hasEnded_)
            connection_.socket_.cut();
        ssh_set_blocking(connection_.session_, 1);
    }
    ~BlockingCall() {
        const std::lock_guard guard(connection_.mutex_);
        connection_.isBlocking_ = false;
        ssh_set_blocking(connection_.session_, 0);
    }
    BlockingCall(const BlockingCall&) = delete;
    BlockingCall& operator=(const BlockingCall&) = delete;

private:
    SshConnection& connection_;
};

std::shared_ptr<SshConnection> SshConnection::start(SessionSettings settings,
                                                    std::function<void(const std::optional<Error>&)> ended) {
    std::shared_ptr<SshConnection> connection(new SshConnection(std::move(settings), std::move(ended)));
    // Its own thread keeps the connection until it has ended.
    connection->queue_.run([connection] { connection->run(); });
    return connection;
}

SshConnection::SshConnection(SessionSettings settings, std::function<void(const std::optional<Error>&)> ended)
    : settings_(std::move(settings)), ended_(std::move(ended)),
      wakeEvent_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), queue_("SSH connection", 1),
      slots_(commandChannels) {
    if (wakeEvent_ < 0)
        fatalError("no event descriptor for a connection");
}

SshConnection::~SshConnection() {
    ::close(wakeEvent_);
}

Status SshConnection::login(LoginStep step) {
    const auto reply = std::make_shared<Reply<Status>>();
    {
        const std::lock_guard guard(mutex_);
        if (hasEnded_)
            return endError_.value_or(notConnected());
        loginJobs_.push_back({std::move(step), reply});
    }
    wake();
    // The thread itself may hang in a call that asks the user's agent.
    return reply->wait([this] { static_cast<void>(socket_.cutLateAgent()); }, patience);
}

void SshConnection::setAuthorized() {
    isAuthorized_.store(true, std::memory_order_release);
    wake();
}

bool SshConnection::isAuthorized() const {
    return isAuthorized_.load(std::memory_order_acquire) && !hasEnded();
}

bool SshConnection::hasEnded() const {
    const std::lock_guard guard(mutex_);
    return hasEnded_;
}

Result<QByteArray> SshConnection::execute(const QByteArray& text, const std::function<bool()>& isCancelled) {
    const auto command = std::make_shared<Command>();
    command->text = text;
    {
        const std::lock_guard guard(mutex_);
        if (hasEnded_ || !isAuthorized_.load(std::memory_order_acquire))
            return endError_.value_or(notConnected());
        newCommands_.push_back(command);
    }
    wake();
    return command->output.wait(
        [&] {
            endIfUnanswered();
            if (isCancelled && isCancelled() && !command->isCancelled.exchange(true))
                wake();
        },
        patience);
}

Status SshConnection::withFiles(FileWork work) {
    const auto reply = std::make_shared<Reply<Status>>();
    {
        const std::lock_guard guard(mutex_);
        if (hasEnded_ || !isAuthorized_.load(std::memory_order_acquire))
            return endError_.value_or(notConnected());
        newFileJobs_.push_back({std::move(work), reply});
    }
    wake();
    return reply->wait([this] { endIfUnanswered(); }, patience);
}

void SshConnection::end(const std::optional<Error>& because) {
    {
        const std::lock_guard guard(mutex_);
        if (!hasEnded_)
            endError_ = because;
        hasEnded_ = true;
        if (isBlocking_)
            socket_.cut();
    }
    wake();
}

void SshConnection::wake() const {
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the thread wakes anyway.
    [[maybe_unused]] const auto written = ::write(wakeEvent_, &one, sizeof one);
}

void SshConnection::endIfUnanswered() {
    {
        const std::lock_guard guard(mutex_);
        if (!isBlocking_ || !isAuthorized_.load(std::memory_order_acquire) ||
            Clock::now() - blockingSince_ < settings_.unansweredLimit)
            return;
    }
    end(timedOut());
}

void SshConnection::run() {
    session_ = ssh_new();
    if (!session_)
        fatalError("no memory for a connection");
    ssh_set_counters(session_, &received_, nullptr);
    login_.emplace(session_, socket_, settings_);
    heard_ = Clock::now();
    while (!hasEnded()) {
        NMSSHLogger::sharedLogger().applyToThisThread();
        takeJobs();
        const std::uint64_t receivedBefore = received_.in_bytes;
        if (isAuthorized())
            checkServer();
        bool hasMore = stepCommands();
        hasMore |= stepFiles();
        // What one call has taken from the socket may be for any channel.
        hasMore |= received_.in_bytes != receivedBefore;
        if (!hasEnded())
            waitForEvents(hasMore);
    }
    finish();
}

void SshConnection::takeJobs() {
    for (;;) {
        LoginJob job;
        {
            const std::lock_guard guard(mutex_);
            std::move(newCommands_.begin(), newCommands_.end(), std::back_inserter(commands_));
            newCommands_.clear();
            std::move(newFileJobs_.begin(), newFileJobs_.end(), std::back_inserter(fileJobs_));
            newFileJobs_.clear();
            if (loginJobs_.empty() || hasEnded_)
                return;
            job = std::move(loginJobs_.front());
            loginJobs_.pop_front();
        }
        runLogin(job);
    }
}

void SshConnection::runLogin(LoginJob& job) {
    Status outcome = [&] {
        const BlockingCall blocking(*this);
        return job.step(*login_);
    }();
    heard_ = Clock::now();
    job.reply->set(std::move(outcome));
}

bool SshConnection::stepCommands() {
    while (!commands_.empty() && channels_.size() < slots_) {
        channels_.push_back(std::make_unique<CommandChannel>(session_, std::move(commands_.front())));
        commands_.pop_front();
    }
    // Those that still wait for a slot can be cancelled too.
    std::erase_if(commands_, [](const std::shared_ptr<Command>& command) {
        if (!command->isCancelled.load(std::memory_order_acquire))
            return false;
        command->output.set(sshError(SshErrorCode::Cancelled, QStringLiteral("The command was cancelled.")));
        return true;
    });
    bool hasMore = false;
    for (std::size_t index = 0; index < channels_.size();) {
        const CommandChannel::State state = channels_[index]->step(hasMore);
        if (state == CommandChannel::State::UnderWay) {
            ++index;
            continue;
        }
        const std::shared_ptr<Command> command = channels_[index]->command();
        channels_.erase(channels_.begin() + static_cast<std::ptrdiff_t>(index));
        hasMore = true; // a slot is free
        if (state == CommandChannel::State::Refused)
            commandRefused(command);
    }
    return hasMore;
}

void SshConnection::commandRefused(std::shared_ptr<Command> command) {
    if (!channels_.empty()) {
        slots_ = channels_.size();
    } else if (files_ && fileJobs_.empty()) {
        const BlockingCall blocking(*this);
        files_.reset();
    } else {
        command->output.set(lastSshError(session_, SshErrorCode::Failed,
                                         QStringLiteral("The server opens no channel for the command.")));
        return;
    }
    commands_.push_front(std::move(command));
}

bool SshConnection::stepFiles() {
    if (fileJobs_.empty())
        return false;
    FileJob& job = fileJobs_.front();
    const BlockingCall blocking(*this);
    if (!files_ && !openFiles(job))
        return !fileJobs_.empty();
    if (job.work(*files_)) {
        job.reply->set(success());
        fileJobs_.pop_front();
    }
    return true;
}

bool SshConnection::openFiles(FileJob& job) {
    files_.emplace(session_);
    const Status connected = files_->connect();
    if (connected)
        return true;
    files_.reset();
    job.reply->set(connected.error());
    fileJobs_.pop_front();
    return false;
}

void SshConnection::checkServer() {
    ssh_execute_message_callbacks(session_); // takes what has come, also where no channel is open
    if (!ssh_is_connected(session_)) {
        end(lastSshError(session_, SshErrorCode::Failed, QStringLiteral("The connection broke off.")));
        return;
    }
    const auto now = Clock::now();
    if (received_.in_bytes != heardBytes_) {
        heardBytes_ = received_.in_bytes;
        heard_ = now;
        asked_.reset();
    } else if (!asked_ && now - heard_ >= settings_.keepAliveInterval) {
        // The first call may only take note of an earlier answer; of two, one asks.
        ssh_send_keepalive(session_);
        ssh_send_keepalive(session_);
        asked_ = now;
    } else if (asked_ && now - *asked_ >= settings_.unansweredLimit) {
        end(timedOut());
    }
}

SshConnection::Clock::time_point SshConnection::nextDue(Clock::time_point latest) const {
    for (const auto& channel : channels_)
        latest = std::min(latest, channel->dueAt().value_or(latest));
    return latest;
}

void SshConnection::waitForEvents(bool hasMore) {
    const bool isOpen = isAuthorized();
    pollfd watched[] = {{wakeEvent_, POLLIN, 0}, {isOpen ? ssh_get_fd(session_) : -1, POLLIN, 0}};
    if (isOpen && (ssh_get_status(session_) & SSH_WRITE_PENDING))
        watched[1].events |= POLLOUT;
    int timeout = -1;
    if (hasMore) {
        timeout = 0;
    } else if (isOpen) {
        timeout = millisecondsUntil(
            nextDue(asked_ ? *asked_ + settings_.unansweredLimit : heard_ + settings_.keepAliveInterval));
    }
    ::poll(watched, 2, timeout);
    if (watched[0].revents) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto taken = ::read(wakeEvent_, &count, sizeof count);
    }
}

void SshConnection::stopCommands(const Error& because) {
    for (const auto& channel : channels_) {
        channel->command()->output.set(because);
        channel->command()->isCancelled = true;
    }
    const auto limit = Clock::now() + endingLimit;
    for (;;) {
        std::erase_if(channels_, [](const auto& channel) {
            bool hasMore = false;
            return channel->step(hasMore) != CommandChannel::State::UnderWay;
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
        const std::lock_guard guard(mutex_);
        loginJobs.swap(loginJobs_);
        endedBy = endError_;
    }
    const Error error = endedBy.value_or(notConnected());
    stopCommands(error);
    for (const auto& command : commands_)
        command->output.set(error);
    for (const LoginJob& job : loginJobs)
        job.reply->set(error);
    if (!fileJobs_.empty()) {
        // A directory half read is given back to a server that may not answer: the call cuts the socket.
        const BlockingCall blocking(*this);
        for (FileJob& job : fileJobs_) {
            job.work = nullptr;
            job.reply->set(error);
        }
    }
    files_.reset();
    login_.reset();
    ssh_disconnect(session_);
    ssh_free(session_);
    session_ = nullptr;
    if (isAuthorized_.load(std::memory_order_acquire))
        ended_(endedBy);
}

} // namespace korvane
