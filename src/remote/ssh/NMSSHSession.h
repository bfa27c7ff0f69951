#pragma once

#include "foundation/Mutex.h"
#include "foundation/Result.h"
#include "remote/ssh/CommandUse.h"
#include "remote/ssh/OutputSink.h"
#include "remote/ssh/RemoteEntry.h"
#include "remote/ssh/SessionSettings.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class NMSSHSessionDelegate;
class SshConnection;
class SshLogin;

/// A login on a server, which can be made, used by any number of threads at once, ended, and made again.
///
/// Held by shared pointer. Any thread; calls that request something from the server block, `disconnect` never
/// does.
class NMSSHSession {
public:
    using Answer = std::function<std::optional<QString>(const QString& request, bool isEchoed)>;

    NMSSHSession(QString host, std::uint16_t port, QString username, SessionSettings settings);
    ~NMSSHSession();
    NMSSHSession(const NMSSHSession&) = delete;
    NMSSHSession& operator=(const NMSSHSession&) = delete;

    /// Call before the first `connect`.
    void setDelegate(std::weak_ptr<NMSSHSessionDelegate> delegate) { delegate_ = std::move(delegate); }

    /// Opens the connection, unless `isWanted` returns false. True if the connection is open afterwards.
    bool connect(const std::function<bool()>& isWanted = {});
    /// True until the end of the connection is noticed.
    bool isConnected() const;
    /// As SshConnection::stopsOnlyShells.
    bool stopsOnlyShells() const;
    /// Call after `connect`, one at a time. True on success.
    bool authenticateByPassword(const QString& password);
    /// Requests each answer from the delegate.
    bool authenticateByKeyboardInteractive();
    bool authenticateByKeyboardInteractiveUsingBlock(const Answer& answer);
    bool authenticateByPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                                 const std::optional<QString>& passPhrase);
    /// With the keys of the user's agent and configuration.
    bool authenticateByAgent();
    /// Call after one of the above has failed with `Incomplete`: asks the delegate for the next proof that
    /// the server requires.
    bool authenticateByFurtherQuestions();
    bool isAuthorized() const;
    /// Why the last connection or login failed, or the connection ended.
    Error lastError() const;
    /// Whether the user's agent and configuration are used.
    bool usesSshConfig() const { return settings_.usesSshConfig; }

    /// Passes the command's standard output to the sink, until the command has ended or the sink wants no
    /// more. An exit status other than 0 is not an error; ending without a status is. Both functions are
    /// called on another thread.
    Status execute(const QByteArray& command, CommandUse use, OutputSink sink,
                   std::function<bool()> isCancelled = {});

    bool directoryExistsAtPath(const QByteArray& path);
    Result<std::vector<RemoteEntry>> contentsOfDirectoryAtPath(const QByteArray& path);
    Result<std::vector<RemoteLinkTarget>> followLinks(const std::vector<QByteArray>& paths);
    Result<RemoteFileInfo> infoForFileAtPath(const QByteArray& path);
    Result<std::optional<QByteArray>> linkTarget(const QByteArray& path);
    Status tryReading(const QByteArray& path);

    /// Ends everything under way.
    void disconnect();

private:
    /// Calls `ask` with the files and a callback, and waits for the outcome passed to the callback.
    template <typename Outcome, typename Ask>
    Outcome askFiles(Ask ask);
    bool authenticate(std::function<Status(SshLogin&)> step);
    /// Stores an error; true on success.
    bool isSuccess(const Status& outcome);
    std::shared_ptr<SshConnection> connection() const;

    const QString host_;
    const std::uint16_t port_;
    const QString username_;
    const SessionSettings settings_;
    std::weak_ptr<NMSSHSessionDelegate> delegate_;

    mutable Mutex mutex_;
    std::shared_ptr<SshConnection> connection_ GUARDED_BY(mutex_);
    bool isOpen_ GUARDED_BY(mutex_) = false;
    Status lastOutcome_ GUARDED_BY(mutex_); // the last error
};

} // namespace korvane
