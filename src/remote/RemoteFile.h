#pragma once

#include "remote/Client.h"
#include "remote/ssh/RemoteEntry.h"

#include <QByteArray>
#include <QString>

#include <array>
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

    RemoteFile(std::shared_ptr<Client> client, QString path, std::weak_ptr<RemoteFileListener> listener);

    const std::shared_ptr<Client>& client() const { return client_; }
    const QString& path() const { return path_; }

    /// Ends the connection for good. Does not wait.
    void close();
    /// As Client::logIn for the program; in vain once closed.
    Result<Client::Connection> connect();
    /// Connects where there is no connection, if it is time to do so. Whether there is one.
    bool connectForPage();
    /// Nothing without an answer, or once cancelled; 0 for an answer that is no number.
    std::optional<qint64> lineCount(const IsCancelled& isCancelled);
    /// The size in bytes, of the file that a symbolic link leads to; 0 for a file that is not there. Nothing
    /// when it cannot be asked for, or once cancelled.
    std::optional<quint64> size(const IsCancelled& isCancelled);
    /// As it was last asked for; nothing where that was in vain.
    std::optional<quint64> lastSize() const;
    /// Looks whether the path is a symbolic link; what is none is taken for none until its size changes to
    /// that of a link.
    void lookForLink();
    /// Whether the path has come to lead to another file since the last call. Does not wait.
    bool takeOtherTarget();

    /// What a command says, which is not much. Nothing without an answer, or once cancelled.
    std::optional<QByteArray> answer(const QString& command, CommandUse use, const IsCancelled& isCancelled);
    /// Hands what a command writes to the sink while it comes. Whether it has come to its end, or to that of
    /// the sink.
    bool read(const QString& command, CommandUse use, const OutputSink& sink, const IsCancelled& isCancelled);

    /// There are lines. Does not wait.
    void linesAreThere() { setFault(Fault::NoLines, {}); }
    /// There are no lines: finds out why.
    void lookForFault();
    /// Finds out whether a file stands at the path at all: what is none is not read.
    void lookWhatItIs();

private:
    /// What keeps the lines from being shown, or from being followed.
    enum class Fault { NotAFile, NoSize, NoLines };
    static constexpr std::size_t faultKinds = 3;

    qint64 numberIn(const QByteArray& output);
    std::optional<quint64> sizeAt(const QString& path, const IsCancelled& isCancelled);
    /// What the server says of the file when it cannot say its size by a number.
    std::optional<quint64> sizeByStat(const QByteArray& output);
    void setKind(RemoteFileKind kind);
    /// Commands that wait for what is no file end.
    IsCancelled isUnwanted(const IsCancelled& isCancelled) const;
    /// The path of the file itself, looked for where it may be behind a link.
    QString measuredPath();
    void setFault(Fault fault, const QString& text);
    bool printsText() const;
    /// As the user knows it.
    QString shownPath() const;

    enum class Place { Unknown, File, Link };

    const std::shared_ptr<Client> client_;
    const QString path_;
    const std::weak_ptr<RemoteFileListener> listener_;
    std::atomic<bool> isClosed_{false};
    std::atomic<bool> isNoFile_{false};

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::uint64_t printingLogin_ = 0;        // the last one reported for printing text
    std::array<QString, faultKinds> faults_; // the first one is told
    QString fault_;                          // told last
    quint64 size_ = 0;
    bool isSizeKnown_ = false;
    Place place_ = Place::Unknown;
    QString target_; // where the path led to last; empty before it is known
    bool isOtherTarget_ = false;
};

} // namespace korvane
