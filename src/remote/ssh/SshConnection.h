#pragma once

#include "foundation/Result.h"
#include "foundation/work/OperationQueue.h"
#include "foundation/work/Reply.h"
#include "remote/ssh/CommandChannel.h"
#include "remote/ssh/NMSFTP.h"
#include "remote/ssh/ServerSocket.h"
#include "remote/ssh/SessionSettings.h"
#include "remote/ssh/SshLogin.h"

#include <atomic>
#include <deque>
#include <functional>
#include <libssh/callbacks.h>
#include <memory>
#include <mutex>
#include <optional>

namespace korvane {

/// One connection, from its first packet to its last, and the thread that owns it: all calls of the library
/// are made there. Others hand it what they want done and wait.
///
/// Commands run beside each other, each in a channel of its own; the files of the server have one channel,
/// and one request at a time. Any thread; the calls that return a result block.
class SshConnection {
public:
    using LoginStep = std::function<Status(SshLogin& login)>;
    /// Does some of the work with the server's files; true when nothing is left of it.
    using FileWork = std::function<bool(NMSFTP& files)>;

    /// `ended` is called once on the thread of the connection, when a connection that was logged in has
    /// ended; with the error that ended it, if one did.
    static std::shared_ptr<SshConnection> start(SessionSettings settings,
                                                std::function<void(const std::optional<Error>&)> ended);
    ~SshConnection();
    SshConnection(const SshConnection&) = delete;
    SshConnection& operator=(const SshConnection&) = delete;

    /// Before the login is complete, and one after the other.
    Status login(LoginStep step);
    /// After the last step of the login: from now on commands and files may come.
    void setAuthorized();
    bool isAuthorized() const;
    bool hasEnded() const;

    /// What the command writes to its standard output. An exit status other than 0 is no error.
    Result<QByteArray> execute(const QByteArray& command, const std::function<bool()>& isCancelled);
    /// The work runs on the thread of the connection, in turns with the commands.
    Status withFiles(FileWork work);

    /// Stops everything that is under way; does not wait.
    void end(const std::optional<Error>& because = std::nullopt);

private:
    using Clock = std::chrono::steady_clock;
    struct LoginJob {
        LoginStep step;
        std::shared_ptr<Reply<Status>> reply;
    };
    struct FileJob {
        FileWork work;
        std::shared_ptr<Reply<Status>> reply;
    };
    /// While it lives the thread waits for the server inside the library; `end` then cuts the socket.
    class BlockingCall;

    SshConnection(SessionSettings settings, std::function<void(const std::optional<Error>&)> ended);

    void wake() const;
    /// Whoever waits looks whether the thread hangs in a call that the server does not answer.
    void endIfUnanswered();

    // On the thread of the connection.
    void run();
    void runLogin(LoginJob& job);
    void takeJobs();
    /// Whether there is more to do at once.
    bool stepCommands();
    void commandRefused(std::shared_ptr<Command> command);
    bool stepFiles();
    bool openFiles(FileJob& job);
    void checkServer();
    /// `latest`, or before it the time at which a channel has something to do.
    Clock::time_point nextDue(Clock::time_point latest) const;
    void waitForEvents(bool hasMore);
    /// Answers all commands that have a channel, and has the server stop them.
    void stopCommands(const Error& because);
    void finish();

    const SessionSettings settings_;
    const std::function<void(const std::optional<Error>&)> ended_;
    /// Tells the thread that something has changed.
    const int wakeEvent_;
    /// Of the thread.
    OperationQueue queue_;
    ServerSocket socket_;
    std::atomic<bool> isAuthorized_{false};

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::deque<LoginJob> loginJobs_;
    std::deque<std::shared_ptr<Command>> newCommands_;
    std::deque<FileJob> newFileJobs_;
    bool hasEnded_ = false;
    std::optional<Error> endError_;
    bool isBlocking_ = false;
    Clock::time_point blockingSince_;

    // Of the thread of the connection.
    ssh_session session_ = nullptr;
    std::optional<SshLogin> login_;
    ssh_counter_struct received_{};
    std::deque<std::shared_ptr<Command>> commands_;
    std::vector<std::unique_ptr<CommandChannel>> channels_;
    std::deque<FileJob> fileJobs_;
    std::optional<NMSFTP> files_;
    /// So many commands run at once; fewer when the server allows fewer channels.
    std::size_t slots_;
    std::uint64_t heardBytes_ = 0;
    Clock::time_point heard_;
    /// When the server was first asked after it had last been heard.
    std::optional<Clock::time_point> asked_;
};

} // namespace korvane
