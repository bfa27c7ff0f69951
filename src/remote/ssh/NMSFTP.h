#pragma once

#include "foundation/Result.h"
#include "remote/ssh/RemoteEntry.h"
#include "remote/ssh/SftpChannel.h"

#include <QByteArray>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

/// The files of the server, over its SFTP subsystem. Lives on the thread that owns the session. No call
/// waits; `done` is called once on that thread, with an error if the channel ends first.
class NMSFTP {
public:
    template <typename T>
    using Done = std::function<void(T outcome)>;

    /// `channel` must outlive it.
    explicit NMSFTP(SftpChannel& channel) : channel_(channel) {}

    void directoryExistsAtPath(const QByteArray& path, Done<Result<bool>> done);
    void infoForFileAtPath(const QByteArray& path, Done<Result<RemoteFileInfo>> done);
    /// Links among the entries are not followed.
    void contentsOfDirectoryAtPath(const QByteArray& path, Done<Result<std::vector<RemoteEntry>>> done);
    /// The targets of symbolic links, in the order of the paths. Fails only if the channel fails.
    void followLinks(std::vector<QByteArray> paths, Done<Result<std::vector<RemoteLinkTarget>>> done);
    /// The fully resolved target; nullopt if the path is not a symbolic link.
    void linkTarget(const QByteArray& path, Done<Result<std::optional<QByteArray>>> done);
    /// Opens the file for reading and closes it. Fails for all but regular files.
    void tryReading(const QByteArray& path, Done<Status> done);

private:
    class Listing;
    class LinkSearch;
    struct Attributes;

    void attributes(SftpPacket request, const QByteArray& path, Done<Result<Attributes>> done);
    /// Opens a file or a directory; `body` is the body of the request.
    void open(SftpPacket request, const QByteArray& path, const QByteArray& body,
              Done<Result<QByteArray>> done);
    void close(const QByteArray& handle);

    SftpChannel& channel_;
};

} // namespace korvane
