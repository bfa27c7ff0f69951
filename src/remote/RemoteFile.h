#pragma once

#include "remote/Client.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace korvane {

/// Hears what the reading of a remote file shows of its connection, on the reading thread.
class RemoteFileListener {
public:
    virtual ~RemoteFileListener() = default;
    /// There is a connection where there was none.
    virtual void connectionRestored() = 0;
    /// There is none any more; the user has been told, if there was one.
    virtual void connectionGone() = 0;
    /// There was one until it was to be used, and it cannot be made anew.
    virtual void connectionLost() = 0;
    /// What should be a number is a text.
    virtual void serverPrintsText(const QString& text) = 0;
    /// Why there are no lines of the file; empty when there are some, or none for a good reason.
    /// Does not wait, and asks the file nothing.
    virtual void fileFault(const QString& text) = 0;
};

/// A log file on a server, read by commands over its document's login. Any thread; all calls but the first
/// wait for the server.
class RemoteFile {
public:
    using IsCancelled = std::function<bool()>;

    /// `path`: stands between double quotation marks in the commands, and nothing in it is escaped.
    RemoteFile(std::shared_ptr<Client> client, QString path, std::weak_ptr<RemoteFileListener> listener);

    const std::shared_ptr<Client>& client() const { return client_; }
    const QString& path() const { return path_; }

    /// Ends the connection for good. Does not wait.
    void close();
    /// As Client::connect; in vain once closed.
    Result<Client::Connection> connect();
    /// Nothing without an answer, or once cancelled; 0 for an answer that is no number.
    std::optional<qint64> lineCount(const IsCancelled& isCancelled);
    /// The size in bytes, of the file that a symbolic link leads to; 0 for no answer, or one that is no
    /// number.
    quint64 size(const IsCancelled& isCancelled);
    /// As it was last asked for.
    quint64 lastSize() const;
    /// Looks whether the path is a symbolic link; what is none is taken for none until its size changes to
    /// that of a link.
    void lookForLink();
    /// Whether the path has come to lead to another file since the last call. Does not wait.
    bool takeOtherTarget();

    /// There are lines. Does not wait.
    void linesAreThere() { setFault({}); }
    /// There are no lines: finds out why.
    void lookForFault();
    /// The lines of a page that end with a newline; connects where there is no connection, unless the last
    /// login was refused. Nothing when it cannot be asked for, or once cancelled.
    std::optional<QStringList> page(qint64 page, const IsCancelled& isCancelled);
    /// As above for `count` lines from the zero-based one on, without connecting.
    std::optional<QStringList> lines(qint64 first, qint64 count, const IsCancelled& isCancelled);

private:
    /// Nothing without an answer, or once cancelled.
    std::optional<QString> run(const QString& command, const IsCancelled& isCancelled);
    bool connectForPage();
    qint64 numberIn(const QString& output);
    quint64 sizeAt(const QString& path, const IsCancelled& isCancelled);
    /// The path of the file itself, looked for where it may be behind a link.
    QString measuredPath();
    void setFault(const QString& text);
    bool printsText() const;
    /// As the user knows it.
    QString shownPath() const;

    enum class Place { Unknown, File, Link };

    const std::shared_ptr<Client> client_;
    const QString path_;
    const std::weak_ptr<RemoteFileListener> listener_;
    std::atomic<bool> isClosed_{false};

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::uint64_t printingLogin_ = 0; // that was told of for printing text
    QString fault_;                   // told last
    quint64 size_ = 0;
    Place place_ = Place::Unknown;
    QString target_; // where the path led to last; empty before it is known
    bool isOtherTarget_ = false;
};

} // namespace korvane
