#include "remote/ssh/NMSFTP.h"

#include "remote/ssh/SshError.h"

#include <QDataStream>
#include <QIODevice>

#include <algorithm>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

/// Codes of a status packet.
enum class SftpStatus : quint32 {
    Ok = 0,
    EndOfFile = 1,
    NoSuchFile = 2,
    PermissionDenied = 3,
};

// Flags of the attributes in a packet.
constexpr quint32 hasSize = 1;
constexpr quint32 hasOwner = 2;
constexpr quint32 hasPermissions = 4;
constexpr quint32 hasTimes = 8;
constexpr quint32 hasExtensions = 0x80000000;

constexpr quint32 openForReading = 1;
/// Number of requests sent ahead of the answers, so that a listing over a slow link takes few round trips.
constexpr int readsAhead = 8;
constexpr std::size_t linksAhead = 64;
/// Maximum size of a listing, in bytes: with attributes, without the lines of `ls` that servers send with
/// each name. A larger listing fails.
constexpr qsizetype largestListing = 16 << 20;
/// In bytes: how much longer than the name such a line may be without counting.
constexpr qsizetype usualLine = 128;

QByteArray stringBytes(const QByteArray& text) {
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.writeBytes(text.constData(), static_cast<uint>(text.size()));
    return bytes;
}

Error unreadable(const QByteArray& path, SshErrorCode code, const QString& reason) {
    return sshError(code, SshTexts::tr("\"%1\" cannot be read: %2.").arg(QString::fromUtf8(path), reason));
}

Error senseless(const QByteArray& path) {
    return unreadable(path, SshErrorCode::CannotRead, SshTexts::tr("the server's answer makes no sense"));
}

std::optional<SftpStatus> statusOf(const SftpChannel::Answer& answer) {
    if (answer.type != SftpPacket::StatusCode)
        return std::nullopt;
    quint32 code = 0;
    QDataStream(answer.body) >> code;
    return static_cast<SftpStatus>(code);
}

/// The error for an answer of an unexpected type.
Error faultOf(const QByteArray& path, const SftpChannel::Answer& answer) {
    const auto status = statusOf(answer);
    if (!status)
        return senseless(path);
    switch (*status) {
    case SftpStatus::NoSuchFile:
        return unreadable(path, SshErrorCode::NoSuchFile, SshTexts::tr("it does not exist"));
    case SftpStatus::PermissionDenied:
        return unreadable(path, SshErrorCode::CannotRead, SshTexts::tr("permission denied"));
    default:
        return unreadable(path, SshErrorCode::CannotRead,
                          SshTexts::tr("the server refuses (%1)").arg(static_cast<quint32>(*status)));
    }
}

/// The name of an entry, without the trailing slash that some servers add to directories. Empty for a name
/// that is not an entry of the directory itself: paths are rejected.
QString entryName(QByteArray name) {
    if (name.endsWith('/'))
        name.chop(1);
    const bool isPath = name.contains('/') || name.contains('\0');
    return isPath || name == "." || name == ".." ? QString() : QString::fromUtf8(name);
}

} // namespace

struct NMSFTP::Attributes {
    /// Flags of the attributes that the server has sent.
    quint32 present = 0;
    quint64 size = 0;
    quint32 permissions = 0;
    quint32 accessTime = 0;
    quint32 modificationTime = 0;

    bool isDirectory() const { return S_ISDIR(permissions); }
    bool isLink() const { return S_ISLNK(permissions); }
    bool isRegular() const { return S_ISREG(permissions); }
    RemoteFileKind kind() const {
        if (isDirectory())
            return RemoteFileKind::Directory;
        if (isLink())
            return RemoteFileKind::Link;
        // An entry of unknown kind counts as a regular file.
        const bool isUnknown = (permissions & S_IFMT) == 0;
        return isRegular() || isUnknown ? RemoteFileKind::Regular : RemoteFileKind::Special;
    }
    std::optional<quint64> fileSize() const {
        return (present & hasSize) && !isLink() ? std::optional(size) : std::nullopt;
    }
    QDateTime modificationDate() const {
        return present & hasTimes ? QDateTime::fromSecsSinceEpoch(modificationTime, Qt::UTC) : QDateTime();
    }

    static Attributes read(QDataStream& stream) {
        Attributes attributes;
        quint32& present = attributes.present;
        quint32 ignored = 0;
        stream >> present;
        if (present & hasSize)
            stream >> attributes.size;
        if (present & hasOwner)
            stream >> ignored >> ignored;
        if (present & hasPermissions)
            stream >> attributes.permissions;
        if (present & hasTimes)
            stream >> attributes.accessTime >> attributes.modificationTime;
        if (present & hasExtensions) {
            quint32 count = 0;
            QByteArray text;
            for (stream >> count; count > 0 && stream.status() == QDataStream::Ok; --count)
                stream >> text >> text;
        }
        return attributes;
    }
};

void NMSFTP::attributes(SftpPacket request, const QByteArray& path, Done<Result<Attributes>> done) {
    channel_.request(request, stringBytes(path),
                     [path, done = std::move(done)](const Result<SftpChannel::Answer>& answer) {
                         if (!answer) {
                             done(answer.error());
                         } else if (answer.value().type != SftpPacket::Attributes) {
                             done(faultOf(path, answer.value()));
                         } else {
                             QDataStream stream(answer.value().body);
                             const Attributes found = Attributes::read(stream);
                             done(stream.status() == QDataStream::Ok ? Result<Attributes>(found)
                                                                     : senseless(path));
                         }
                     });
}

void NMSFTP::open(SftpPacket request, const QByteArray& path, const QByteArray& body,
                  Done<Result<QByteArray>> done) {
    channel_.request(request, body,
                     [path, done = std::move(done)](const Result<SftpChannel::Answer>& answer) {
                         if (!answer) {
                             done(answer.error());
                         } else if (answer.value().type != SftpPacket::Handle) {
                             done(faultOf(path, answer.value()));
                         } else {
                             QByteArray handle;
                             QDataStream stream(answer.value().body);
                             stream >> handle;
                             done(std::move(handle));
                         }
                     });
}

void NMSFTP::close(const QByteArray& handle) {
    channel_.request(SftpPacket::Close, stringBytes(handle), [](const Result<SftpChannel::Answer>&) {});
}

void NMSFTP::directoryExistsAtPath(const QByteArray& path, Done<Result<bool>> done) {
    attributes(SftpPacket::Stat, path, [done = std::move(done)](const Result<Attributes>& found) {
        if (found)
            done(found.value().isDirectory());
        else if (isSshError(found.error(), SshErrorCode::NoSuchFile))
            done(false);
        else
            done(found.error());
    });
}

void NMSFTP::infoForFileAtPath(const QByteArray& path, Done<Result<RemoteFileInfo>> done) {
    attributes(SftpPacket::Stat, path, [path, done = std::move(done)](const Result<Attributes>& found) {
        if (!found) {
            done(found.error());
            return;
        }
        const auto time = [](quint32 seconds) { return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC); };
        RemoteFileInfo info;
        info.filename = QString::fromUtf8(path.mid(path.lastIndexOf('/') + 1));
        info.lastAccess = time(found.value().accessTime);
        info.modificationDate = time(found.value().modificationTime);
        info.fileSize = found.value().size;
        info.kind = found.value().kind();
        done(std::move(info));
    });
}

void NMSFTP::linkTarget(const QByteArray& path, Done<Result<std::optional<QByteArray>>> done) {
    attributes(SftpPacket::LinkStat, path,
               [this, path, done = std::move(done)](const Result<Attributes>& found) {
                   if (!found) {
                       done(found.error());
                       return;
                   }
                   if (!found.value().isLink()) {
                       done(std::optional<QByteArray>());
                       return;
                   }
                   channel_.request(SftpPacket::RealPath, stringBytes(path),
                                    [path, done](const Result<SftpChannel::Answer>& answer) {
                                        if (!answer) {
                                            done(answer.error());
                                            return;
                                        }
                                        quint32 count = 0;
                                        QByteArray target;
                                        QDataStream stream(answer.value().body);
                                        if (answer.value().type == SftpPacket::Name)
                                            stream >> count >> target;
                                        if (target.isEmpty())
                                            done(faultOf(path, answer.value()));
                                        else
                                            done(std::optional(target));
                                    });
               });
}

void NMSFTP::tryReading(const QByteArray& path, Done<Status> done) {
    attributes(SftpPacket::Stat, path, [this, path, done = std::move(done)](const Result<Attributes>& found) {
        if (!found) {
            done(found.error());
            return;
        }
        // Opening other kinds may block on the server.
        if (!found.value().isRegular()) {
            done(unreadable(path, SshErrorCode::CannotRead, SshTexts::tr("it is no regular file")));
            return;
        }
        QByteArray modeAndAttributes;
        QDataStream(&modeAndAttributes, QIODevice::WriteOnly) << openForReading << quint32(0);
        open(SftpPacket::Open, path, stringBytes(path) + modeAndAttributes,
             [this, done](const Result<QByteArray>& handle) {
                 if (!handle) {
                     done(handle.error());
                     return;
                 }
                 close(handle.value());
                 done(success());
             });
    });
}

/// A directory listing under way.
class NMSFTP::Listing : public std::enable_shared_from_this<Listing> {
public:
    Listing(NMSFTP& files, QByteArray path, Done<Result<std::vector<RemoteEntry>>> done)
        : files_(files), path_(std::move(path)), done_(std::move(done)) {}

    void begin() {
        files_.open(SftpPacket::OpenDirectory, path_, stringBytes(path_),
                    [self = shared_from_this()](const Result<QByteArray>& handle) {
                        if (!handle) {
                            self->explain(handle.error());
                            return;
                        }
                        self->handle_ = handle.value();
                        for (int count = 0; count < readsAhead; ++count)
                            self->readSome();
                    });
    }

private:
    /// The server's refusal does not tell if the path is not a directory.
    void explain(const Error& refusal) {
        files_.attributes(SftpPacket::Stat, path_, [self = shared_from_this(), refusal](const auto& found) {
            self->fail(!found || found.value().isDirectory()
                           ? refusal
                           : unreadable(self->path_, SshErrorCode::CannotRead,
                                        QStringLiteral("it is no directory")));
        });
    }

    void readSome() {
        ++underWay_;
        files_.channel_.request(
            SftpPacket::ReadDirectory, stringBytes(handle_),
            [self = shared_from_this()](const Result<SftpChannel::Answer>& answer) { self->take(answer); });
    }

    void take(const Result<SftpChannel::Answer>& answer) {
        --underWay_;
        if (!answer) {
            fail(answer.error());
        } else if (answer.value().type == SftpPacket::Name) {
            add(answer.value().body);
            if (!isAtEnd_)
                readSome();
        } else {
            isAtEnd_ = true;
            if (statusOf(answer.value()) != SftpStatus::EndOfFile)
                fail(faultOf(path_, answer.value()));
        }
        if (isAtEnd_ && underWay_ == 0) {
            files_.close(handle_);
            finish();
        }
    }

    void add(const QByteArray& names) {
        QDataStream stream(names);
        quint32 count = 0;
        stream >> count;
        // Some servers report the end by an empty answer.
        isAtEnd_ = isAtEnd_ || count == 0;
        size_ += names.size();
        for (; count > 0 && stream.status() == QDataStream::Ok; --count) {
            QByteArray bytes;
            QByteArray line;
            stream >> bytes >> line;
            size_ -= std::min(line.size(), bytes.size() + usualLine);
            const Attributes attributes = Attributes::read(stream);
            if (const QString name = entryName(bytes); !name.isEmpty())
                entries_.push_back(
                    {name, attributes.kind(), attributes.fileSize(), attributes.modificationDate()});
        }
        if (stream.status() != QDataStream::Ok)
            stop(senseless(path_));
        else if (size_ > largestListing)
            stop(unreadable(path_, SshErrorCode::CannotRead, SshTexts::tr("it holds too many names")));
    }

    void stop(const Error& error) {
        isAtEnd_ = true;
        fail(error);
    }
    void fail(const Error& error) {
        if (const auto done = std::exchange(done_, nullptr))
            done(error);
    }
    void finish() {
        if (const auto done = std::exchange(done_, nullptr))
            done(std::move(entries_));
    }

    NMSFTP& files_;
    const QByteArray path_;
    Done<Result<std::vector<RemoteEntry>>> done_;
    QByteArray handle_;
    int underWay_ = 0;
    bool isAtEnd_ = false;
    std::vector<RemoteEntry> entries_;
    qsizetype size_ = 0;
};

void NMSFTP::contentsOfDirectoryAtPath(const QByteArray& path, Done<Result<std::vector<RemoteEntry>>> done) {
    std::make_shared<Listing>(*this, path, std::move(done))->begin();
}

/// A search for the targets of links.
class NMSFTP::LinkSearch : public std::enable_shared_from_this<LinkSearch> {
public:
    LinkSearch(NMSFTP& files, std::vector<QByteArray> paths, Done<Result<std::vector<RemoteLinkTarget>>> done)
        : files_(files), paths_(std::move(paths)), targets_(paths_.size()), done_(std::move(done)) {}

    void goOn() {
        while (done_ && next_ < paths_.size() && underWay_ < linksAhead) {
            const std::size_t index = next_++;
            ++underWay_;
            files_.attributes(SftpPacket::Stat, paths_[index],
                              [self = shared_from_this(), index](const Result<Attributes>& found) {
                                  --self->underWay_;
                                  self->take(index, found);
                              });
        }
        if (done_ && underWay_ == 0)
            std::exchange(done_, nullptr)(std::move(targets_));
    }

private:
    void take(std::size_t index, const Result<Attributes>& found) {
        RemoteLinkTarget& target = targets_[index];
        if (found) {
            const Attributes& attributes = found.value();
            target = {attributes.kind(), attributes.fileSize(), attributes.modificationDate()};
        } else if (isSshError(found.error(), SshErrorCode::NoSuchFile) ||
                   isSshError(found.error(), SshErrorCode::CannotRead)) {
            target.fault = found.error().userText;
        } else {
            if (const auto done = std::exchange(done_, nullptr))
                done(found.error());
            return;
        }
        goOn();
    }

    NMSFTP& files_;
    const std::vector<QByteArray> paths_;
    std::vector<RemoteLinkTarget> targets_;
    Done<Result<std::vector<RemoteLinkTarget>>> done_;
    std::size_t next_ = 0;
    std::size_t underWay_ = 0;
};

void NMSFTP::followLinks(std::vector<QByteArray> paths, Done<Result<std::vector<RemoteLinkTarget>>> done) {
    std::make_shared<LinkSearch>(*this, std::move(paths), std::move(done))->goOn();
}

} // namespace korvane
