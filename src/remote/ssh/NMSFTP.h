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

/// The files of the server, over its SFTP subsystem. Lives on the thread that owns the session; no call
/// waits, and `done` is called there once, with an error at the latest when the channel ends.
class NMSFTP {
public:
    template <typename T>
    using Done = std::function<void(T outcome)>;

    /// The channel outlives it.
    explicit NMSFTP(SftpChannel& channel) : channel_(channel) {}

    void directoryExistsAtPath(const QByteArray& path, Done<Result<bool>> done);
    void infoForFileAtPath(const QByteArray& path, Done<Result<RemoteFileInfo>> done);
    /// Links among the entries are not followed.
    void contentsOfDirectoryAtPath(const QByteArray& path, Done<Result<std::vector<RemoteEntry>>> done);
    /// Where the symbolic links lead, in the order of the paths. Fails only with the channel.
    void followLinks(std::vector<QByteArray> paths, Done<Result<std::vector<RemoteLinkTarget>>> done);
    /// Where a symbolic link leads to in the end; empty for what is none.
    void linkTarget(const QByteArray& path, Done<Result<std::optional<QByteArray>>> done);
    /// Opens the file and closes it again. Only a regular one can be read.
    void tryReading(const QByteArray& path, Done<Status> done);

private:
    class Listing;
    class LinkSearch;
    struct Attributes;

    void attributes(SftpPacket request, const QByteArray& path, Done<Result<Attributes>> done);
    /// Opens a file or a directory, for which `body` is the request.
    void open(SftpPacket request, const QByteArray& path, const QByteArray& body,
              Done<Result<QByteArray>> done);
    void close(const QByteArray& handle);

    SftpChannel& channel_;
};

} // namespace korvane
