#pragma once

#include "foundation/Result.h"
#include "remote/LoginAsked.h"
#include "remote/ssh/RemoteEntry.h"

#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class Client;

/// Directories and files of a server, over a channel of the client's session, without a login of its own. Any
/// thread but the main one; every call waits for the server.
class SFTPClient {
public:
    using Entry = RemoteEntry;
    using FileInfo = RemoteFileInfo;

    using LinkTarget = RemoteLinkTarget;

    explicit SFTPClient(std::shared_ptr<Client> client);
    virtual ~SFTPClient();
    SFTPClient(const SFTPClient&) = delete;
    SFTPClient& operator=(const SFTPClient&) = delete;

    virtual bool isConnected() const;
    /// Logs in if there is no connection. The error is for the user.
    virtual Status connect(LoginAsked asked);
    virtual bool directoryExistsAtPath(const QString& path);
    /// The entries of the directory, or of a link's target, without "." and "..". Unsorted; links among them
    /// are not followed. The error tells why it cannot be listed.
    virtual Result<std::vector<Entry>> contentsOfDirectoryAtPath(const QString& path);
    /// The targets of symbolic links, in the order of the paths. Fails only if the connection fails.
    virtual Result<std::vector<LinkTarget>> followLinks(const std::vector<QString>& paths);
    virtual Result<FileInfo> infoForFileAtPath(const QString& path);
    /// The fully resolved target; nullopt if the path is not a symbolic link.
    virtual Result<std::optional<QString>> linkTarget(const QString& path);
    /// The error tells why the file cannot be read.
    virtual Status tryReading(const QString& path);

private:
    const std::shared_ptr<Client> client_;
};

} // namespace korvane
