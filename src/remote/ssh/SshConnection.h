#pragma once

#include "foundation/Result.h"
#include "foundation/work/OperationQueue.h"
#include "foundation/work/Reply.h"
#include "remote/ssh/CommandChannel.h"
#include "remote/ssh/NMSFTP.h"
#include "remote/ssh/ServerSocket.h"
#include "remote/ssh/SessionSettings.h"
#include "remote/ssh/SpareChannel.h"
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
/// are made there, and none of them waits for the server. Others hand it what they want done and wait.
///
/// Commands run beside each other, each in a channel of its own; the files of the server have one channel for
/// all requests, which is opened when it is first needed. Any thread; the calls that return a result block.
class SshConnection {
public:
    using LoginStep = std::function<Status(SshLogin& login)>;
    /// Work with the server's files, of which one of the two is called on the thread of the connection.
    struct FileWork {
        std::function<void(NMSFTP& files)> begin;
        std::function<void(const Error& error)> fail;
    };

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
    /// A cancelled command goes on where it runs programs that its shell only waits for.
    bool stopsOnlyShells() const { return stopsOnlyShells_; }

    /// Hands what the command writes to its standard output to the sink, until it has ended or the sink wants
    /// no more. An exit status other than 0 is no error. Both functions are called on the thread of the
    /// connection.
    Status execute(const QByteArray& command, CommandUse use, OutputSink sink,
                   std::function<bool()> isCancelled);
    /// Does not block.
    void withFiles(FileWork work);

    /// Stops everything that is under way; does not wait.
    void end(const std::optional<Error>& because = std::nullopt);
    /// After the end: waits until the owner has been notified of it, which takes a moment only.
    void waitUntilTold() { told_.wait(); }

private:
    using Clock = std::chrono::steady_clock;
    struct LoginJob {
        LoginStep step;
        std::shared_ptr<Reply<Status>> reply;
    };
    struct FileAccess {
        FileAccess(ssh_session session, std::chrono::milliseconds limit, std::uint64_t& received)
            : channel(session, limit, received) {}

        SftpChannel channel;
        NMSFTP files{channel};
    };

    SshConnection(SessionSettings settings, std::function<void(const std::optional<Error>&)> ended);

    void wake() const;

    // On the thread of the connection.
    void run();
    /// Until the server has sent something or takes more. The error says why the login shall go no further.
    Status awaitServer(Clock::time_point deadline);
    void takeJobs();
    /// Whether there is more to do at once.
    bool stepCommands();
    void startCommands();
    /// The command that is to begin next; none while there is no room for any that waits.
    std::deque<std::shared_ptr<Command>>::iterator nextCommand();
    /// After a command for rows: one more of those is to begin at once.
    void stepSpare();
    void commandRefused(std::shared_ptr<Command> command);
    bool stepFiles();
    void beginFileWork();
    void filesEnded(SftpChannel::State state);
    void failFileWork(const Error& error);
    /// Without the spare one, which makes room for others.
    std::size_t openChannels() const { return channels_.size() + (files_ ? 1 : 0); }
    /// The server opens no more channels than it has now. False when it opens none at all.
    bool noteRefusal();
    void checkServer();
    void checkFiles(Clock::time_point now);
    /// `latest`, or before it the time at which something is to be done.
    Clock::time_point nextDue(Clock::time_point latest) const;
    void waitForEvents(bool hasMore);
    /// Answers all commands that have a channel, and has the server stop them.
    void stopCommands(const Error& because);
    void finish();
    /// Tells the server that the connection is over, and lets go of it.
    void disconnect();

    const SessionSettings settings_;
    const std::function<void(const std::optional<Error>&)> ended_;
    /// Tells the thread that something has changed.
    const int wakeEvent_;
    /// Of the thread.
    OperationQueue queue_;
    ServerSocket socket_;
    std::atomic<bool> isAuthorized_{false};
    Reply<bool> told_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::deque<LoginJob> loginJobs_;
    std::deque<std::shared_ptr<Command>> newCommands_;
    std::deque<FileWork> newFileWork_;
    bool hasEnded_ = false;
    std::atomic<bool> stopsOnlyShells_{false};
    std::optional<Error> endError_;

    // Of the thread of the connection.
    ssh_session session_ = nullptr;
    std::optional<SshLogin> login_;
    ssh_counter_struct received_{};
    std::deque<std::shared_ptr<Command>> commands_;
    std::vector<std::unique_ptr<CommandChannel>> channels_;
    std::optional<SpareChannel> spare_;
    bool isSpareWanted_ = false;
    bool hasSpareRoom_ = true; // as far as is known
    bool hasAnswered_ = false; // a command
    std::deque<FileWork> fileWork_;
    std::optional<FileAccess> files_;
    /// Why the server gives no access to its files; another attempt would bring the same.
    std::optional<Error> filesFault_;
    /// So many commands run at once.
    std::size_t commandLimit_;
    /// So many channels may be open at once; fewer for a while after the server has refused one.
    std::size_t channelLimit_;
    std::optional<Clock::time_point> limitEnds_;
    /// While the server opens no channel at all: when to try again, and until when.
    std::optional<Clock::time_point> retryAt_;
    std::optional<Clock::time_point> retriesEnd_;
    /// What commands and files have brought.
    std::uint64_t contentBytes_ = 0;
    std::uint64_t contentBytesBefore_ = 0;
    Clock::time_point contentSeen_;
    std::uint64_t heardBytes_ = 0;
    Clock::time_point heard_;
    /// When the server was first asked after it had last been heard.
    std::optional<Clock::time_point> asked_;
};

} // namespace korvane
