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

/// Directories and files of a server, over a channel of the client's session: no login of its own. Any thread
/// but the main one; every call waits for the server.
class SFTPClient {
public:
    using Entry = RemoteEntry;
    using FileInfo = RemoteFileInfo;

    using LinkTarget = RemoteLinkTarget;

    explicit SFTPClient(std::shared_ptr<Client> client);
    virtual ~SFTPClient();

    virtual bool isConnected() const;
    /// Logs in where there is no connection. The error is for the user.
    virtual Status connect(LoginAsked asked);
    virtual bool directoryExistsAtPath(const QString& path);
    /// The entries of the directory, or of the one that a link leads to, without "." and "..". Unsorted, and
    /// links among them are not followed. The error names why it cannot be listed.
    virtual Result<std::vector<Entry>> contentsOfDirectoryAtPath(const QString& path);
    /// Where symbolic links lead, in the order of the paths. Fails only with the connection.
    virtual Result<std::vector<LinkTarget>> followLinks(const std::vector<QString>& paths);
    virtual Result<FileInfo> infoForFileAtPath(const QString& path);
    /// The absolute path that a symbolic link leads to in the end; nothing for what is none.
    virtual Result<std::optional<QString>> linkTarget(const QString& path);
    /// The error names why the file cannot be read.
    virtual Status tryReading(const QString& path);

private:
    const std::shared_ptr<Client> client_;
};

} // namespace korvane
