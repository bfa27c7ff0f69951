#pragma once

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
#include <mutex>
#include <optional>
#include <vector>

namespace korvane {

class NMSSHSessionDelegate;
class SshConnection;
class SshLogin;

/// A login on a server that can be made, used by any number of threads at once, ended, and made again.
///
/// Held by shared pointer. Any thread; what asks the server blocks its caller, `disconnect` never does.
class NMSSHSession {
public:
    using Answer = std::function<std::optional<QString>(const QString& request, bool isEchoed)>;

    NMSSHSession(QString host, std::uint16_t port, QString username, SessionSettings settings);
    ~NMSSHSession();
    NMSSHSession(const NMSSHSession&) = delete;
    NMSSHSession& operator=(const NMSSHSession&) = delete;

    /// Before the first `connect`.
    void setDelegate(std::weak_ptr<NMSSHSessionDelegate> delegate) { delegate_ = std::move(delegate); }

    /// Opens the connection, unless `isWanted` says that it came too late. True when it is open afterwards.
    bool connect(const std::function<bool()>& isWanted = {});
    /// Until the end of the connection is noticed.
    bool isConnected() const;
    /// As SshConnection::stopsOnlyShells.
    bool stopsOnlyShells() const;
    /// One at a time, after `connect`. True on success.
    bool authenticateByPassword(const QString& password);
    /// Asks the delegate for each answer.
    bool authenticateByKeyboardInteractive();
    bool authenticateByKeyboardInteractiveUsingBlock(const Answer& answer);
    bool authenticateByPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                                 const std::optional<QString>& passPhrase);
    /// By what the user's agent and configuration offer.
    bool authenticateByAgent();
    /// After one of the above whose error is `Incomplete`: asks the delegate for what the server wants next.
    bool authenticateByFurtherQuestions();
    bool isAuthorized() const;
    /// Why the last connection or login failed, or why the connection has ended.
    Error lastError() const;
    /// The settings of the user for all his servers count for this one.
    bool usesSshConfig() const { return settings_.usesSshConfig; }

    /// Hands on what the command writes to its standard output, until it has ended or the sink wants no more.
    /// An exit status other than 0 is no error; a command that ends without one is. Both functions are called
    /// on another thread.
    Status execute(const QByteArray& command, CommandUse use, OutputSink sink,
                   std::function<bool()> isCancelled = {});

    bool directoryExistsAtPath(const QByteArray& path);
    Result<std::vector<RemoteEntry>> contentsOfDirectoryAtPath(const QByteArray& path);
    Result<std::vector<RemoteLinkTarget>> followLinks(const std::vector<QByteArray>& paths);
    Result<RemoteFileInfo> infoForFileAtPath(const QByteArray& path);
    Result<std::optional<QByteArray>> linkTarget(const QByteArray& path);
    Status tryReading(const QByteArray& path);

    /// Whatever is under way ends.
    void disconnect();

private:
    /// The outcome that `ask`, called with the files and with what is to be called in the end, brings.
    template <typename Outcome, typename Ask>
    Outcome askFiles(Ask ask);
    bool authenticate(std::function<Status(SshLogin&)> step);
    /// Keeps the error; true without one.
    bool isSuccess(const Status& outcome);
    std::shared_ptr<SshConnection> connection() const;

    const QString host_;
    const std::uint16_t port_;
    const QString username_;
    const SessionSettings settings_;
    std::weak_ptr<NMSSHSessionDelegate> delegate_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::shared_ptr<SshConnection> connection_;
    bool isOpen_ = false;
    Status lastOutcome_; // the last that was an error
};

} // namespace korvane
