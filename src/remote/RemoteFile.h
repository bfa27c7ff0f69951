#pragma once

#include "foundation/Mutex.h"
#include "remote/Client.h"
#include "remote/ssh/RemoteEntry.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace korvane {

/// Receives what reading a remote file reveals about its connection, on the reading thread.
class RemoteFileListener {
public:
    virtual ~RemoteFileListener() = default;
    /// The connection was lost; the user has already been notified, if there was one.
    virtual void connectionGone() = 0;
    /// The connection turned out dead on use and could not be re-established.
    virtual void connectionLost() = 0;
    /// The server printed text in place of a number.
    virtual void serverPrintsText(const QString& text) = 0;
    /// Why the file has no lines; empty if it has lines, or may have none. Does not block, and must not call
    /// the file.
    virtual void fileFault(const QString& text) = 0;
};

/// A log file on a server, read by commands over its document's login. Any thread; all calls wait for the
/// server unless noted.
class RemoteFile {
public:
    using IsCancelled = std::function<bool()>;

    RemoteFile(std::shared_ptr<Client> client, QString path, std::weak_ptr<RemoteFileListener> listener);

    const std::shared_ptr<Client>& client() const { return client_; }
    const QString& path() const { return path_; }

    /// Ends the connection for good. Does not wait.
    void close();
    /// As Client::logIn for the program; without effect once closed.
    Result<Client::Connection> connect();
    /// Connects if there is no connection and a retry is due. Returns whether there is a connection.
    bool connectForPage();
    /// Nullopt without an answer, or once cancelled; 0 if the answer is not a number.
    std::optional<qint64> lineCount(const IsCancelled& isCancelled);
    /// The size in bytes, of the target if the path is a symbolic link; 0 for a missing file. Nullopt if it
    /// cannot be requested, or once cancelled.
    std::optional<quint64> size(const IsCancelled& isCancelled);
    /// The result of the last request; nullopt if it failed.
    std::optional<quint64> lastSize() const;
    /// Checks whether the path is a symbolic link. A negative result is kept until the size changes to one
    /// that a link can have.
    void lookForLink();
    /// Whether the link has changed its target since the last call. Does not wait.
    bool takeOtherTarget();

    /// The output of a command with a short answer. Nullopt without an answer, or once cancelled.
    std::optional<QByteArray> answer(const QString& command, CommandUse use, const IsCancelled& isCancelled);
    /// Passes the output of a command to the sink as it arrives. True if the command has ended or the sink
    /// wants no more.
    bool read(const QString& command, CommandUse use, const OutputSink& sink, const IsCancelled& isCancelled);

    /// Clears the fault that there are no lines. Does not wait.
    void linesAreThere() { setFault(Fault::NoLines, {}); }
    /// The file has no lines: finds out why.
    void lookForFault();
    /// Checks the kind of the file: only a regular file is read.
    void lookWhatItIs();
    /// Comes before the first command of a login. Looks only where it must: on a server that cannot stop a
    /// command, one that reads a pipe would never end, and would take data from other readers.
    void lookBeforeReading();

private:
    /// Faults that keep the lines from being shown or followed.
    enum class Fault { NotAFile, NoSize, NoLines };
    static constexpr std::size_t faultKinds = 3;

    qint64 numberIn(const QByteArray& output);
    std::optional<quint64> sizeAt(const QString& path, const IsCancelled& isCancelled);
    /// The size by SFTP, for a server whose commands print no number.
    std::optional<quint64> sizeByStat(const QByteArray& output);
    void setKind(RemoteFileKind kind);
    /// Also ends commands that block on a path that is not a regular file.
    IsCancelled isUnwanted(const IsCancelled& isCancelled) const;
    /// The path of the file itself; resolves a link if necessary.
    QString measuredPath();
    void setFault(Fault fault, const QString& text);
    bool printsText() const;
    /// The path as the user knows it.
    QString shownPath() const;

    enum class Place { Unknown, File, Link };

    const std::shared_ptr<Client> client_;
    const QString path_;
    const std::weak_ptr<RemoteFileListener> listener_;
    std::atomic<bool> isClosed_{false};
    std::atomic<bool> isNoFile_{false};

    mutable Mutex mutex_;
    std::uint64_t printingLogin_ GUARDED_BY(mutex_) = 0;        // the last one reported for printing text
    std::array<QString, faultKinds> faults_ GUARDED_BY(mutex_); // the first non-empty one is reported
    QString fault_ GUARDED_BY(mutex_);                          // the last one reported
    quint64 size_ GUARDED_BY(mutex_) = 0;
    bool isSizeKnown_ GUARDED_BY(mutex_) = false;
    Place place_ GUARDED_BY(mutex_) = Place::Unknown;
    QString target_ GUARDED_BY(mutex_); // the last known target of the path; empty before
    bool isOtherTarget_ GUARDED_BY(mutex_) = false;
};

} // namespace korvane
