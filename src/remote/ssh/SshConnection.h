#pragma once

#include "foundation/Mutex.h"
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
#include <optional>

namespace korvane {

/// One connection, from its first packet to its last, and the thread that owns it. All calls of the library
/// are made there, and none of them waits for the server. Other threads queue work and wait for the result.
///
/// Commands run concurrently, each in a channel of its own; all requests for the server's files share one
/// channel, which is opened when first needed. Any thread; the calls that return a result block.
class SshConnection {
public:
    using LoginStep = std::function<Status(SshLogin& login)>;
    /// Work with the server's files. One of the two functions is called, on the thread of the connection.
    struct FileWork {
        std::function<void(NMSFTP& files)> begin;
        std::function<void(const Error& error)> fail;
    };

    /// `ended` is called once on the thread of the connection when a connection that was logged in has ended,
    /// with the cause, if there was one.
    static std::shared_ptr<SshConnection> start(SessionSettings settings,
                                                std::function<void(const std::optional<Error>&)> ended);
    ~SshConnection();
    SshConnection(const SshConnection&) = delete;
    SshConnection& operator=(const SshConnection&) = delete;

    /// Runs one step of the login; one at a time, before `setAuthorized`.
    Status login(LoginStep step);
    /// Call after the last step of the login; commands and files are accepted from now on.
    void setAuthorized();
    bool isAuthorized() const;
    bool hasEnded() const;
    /// Whether cancelling a command stops only its shell, not the programs that the shell waits for.
    bool stopsOnlyShells() const { return stopsOnlyShells_; }

    /// Passes the command's standard output to the sink, until the command has ended or the sink wants no
    /// more. An exit status other than 0 is not an error. Both functions are called on the thread of the
    /// connection.
    Status execute(const QByteArray& command, CommandUse use, OutputSink sink,
                   std::function<bool()> isCancelled);
    /// Does not block.
    void withFiles(FileWork work);

    /// Stops everything under way; does not wait.
    void end(const std::optional<Error>& because = std::nullopt);
    /// Call after the end: waits briefly until the owner has been notified of it.
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
    /// Waits until the server has sent something or accepts more. The error tells why the login must stop.
    Status awaitServer(Clock::time_point deadline);
    void takeJobs();
    /// Returns whether there is more to do at once.
    bool stepCommands();
    void startCommands();
    /// The next command to start; end() if no waiting command may start yet.
    std::deque<std::shared_ptr<Command>>::iterator nextCommand();
    /// After a command for rows: opens a spare channel for the next one.
    void stepSpare();
    void commandRefused(std::shared_ptr<Command> command);
    bool stepFiles();
    void beginFileWork();
    void filesEnded(SftpChannel::State state);
    void failFileWork(const Error& error);
    /// Without the spare channel, which is closed when others need room.
    std::size_t openChannels() const { return channels_.size() + (files_ ? 1 : 0); }
    /// Handles a refused channel: for a while none but the open ones are used. False if the server has opened
    /// none at all for `retryDuration`.
    bool noteRefusal();
    void checkServer();
    void checkFiles(Clock::time_point now);
    /// The time of the next thing to do, at most `latest`.
    Clock::time_point nextDue(Clock::time_point latest) const;
    void waitForEvents(bool hasMore);
    /// Sets the output of all commands that have a channel, and stops them on the server.
    void stopCommands(const Error& because);
    void finish();
    /// Sends the farewell and closes the connection.
    void disconnect();

    const SessionSettings settings_;
    const std::function<void(const std::optional<Error>&)> ended_;
    /// Wakes the thread.
    const int wakeEvent_;
    /// Runs the thread.
    OperationQueue queue_;
    ServerSocket socket_;
    std::atomic<bool> isAuthorized_{false};
    Reply<bool> told_;

    mutable Mutex mutex_;
    std::deque<LoginJob> loginJobs_ GUARDED_BY(mutex_);
    std::deque<std::shared_ptr<Command>> newCommands_ GUARDED_BY(mutex_);
    std::deque<FileWork> newFileWork_ GUARDED_BY(mutex_);
    bool hasEnded_ GUARDED_BY(mutex_) = false;
    std::atomic<bool> stopsOnlyShells_{false};
    std::optional<Error> endError_ GUARDED_BY(mutex_);

    // The thread of the connection only.
    ssh_session session_ = nullptr;
    std::optional<SshLogin> login_;
    ssh_counter_struct received_{};
    std::deque<std::shared_ptr<Command>> commands_;
    std::vector<std::unique_ptr<CommandChannel>> channels_;
    std::optional<SpareChannel> spare_;
    bool isSpareWanted_ = false;
    bool hasSpareRoom_ = true; // as far as known
    bool hasAnswered_ = false; // to a command
    std::deque<FileWork> fileWork_;
    std::optional<FileAccess> files_;
    /// Why the server gives no access to its files; not tried again.
    std::optional<Error> filesFault_;
    /// Maximum number of commands at once.
    std::size_t commandLimit_;
    /// Maximum number of open channels; lowered for a while after the server has refused one.
    std::size_t channelLimit_;
    std::optional<Clock::time_point> limitEnds_;
    /// While the server opens no channel at all: time of the next attempt, and end of the retries.
    std::optional<Clock::time_point> retryAt_;
    std::optional<Clock::time_point> retriesEnd_;
    /// Number of bytes received by commands and files.
    std::uint64_t contentBytes_ = 0;
    std::uint64_t contentBytesBefore_ = 0;
    Clock::time_point contentSeen_;
    std::uint64_t heardBytes_ = 0;
    Clock::time_point heard_;
    /// When the first keep-alive request since the last data was sent.
    std::optional<Clock::time_point> asked_;
};

} // namespace korvane
