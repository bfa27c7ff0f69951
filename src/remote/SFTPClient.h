#pragma once

#include "foundation/Result.h"

#include <QDateTime>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class Client;
class NMSFTP;

/// Directories and files of a server, over a channel of the client's session: no login of its own. Any thread
/// but the main one; every call waits for the server.
class SFTPClient {
public:
    struct Entry {
        /// Without a "/" at its end.
        QString filename;
        /// True also for a link to a directory.
        bool isDirectory = false;
        bool isSymLink = false;
    };
    struct FileInfo {
        QString filename;
        QDateTime lastAccess;
        QDateTime modificationDate;
        quint64 fileSize = 0;
    };

    explicit SFTPClient(std::shared_ptr<Client> client);
    virtual ~SFTPClient();

    virtual bool directoryExistsAtPath(const QString& path);
    /// The entries of the directory, or of the one that a link leads to, without "." and ".."; none where
    /// there is no such directory. Unsorted. The error names why it cannot be listed.
    virtual Result<std::vector<Entry>> contentsOfDirectoryAtPath(const QString& path);
    virtual Result<FileInfo> infoForFileAtPath(const QString& path);
    /// The absolute path that a symbolic link leads to in the end; nothing for what is none.
    virtual Result<std::optional<QString>> linkTarget(const QString& path);
    /// The error names why the file cannot be read.
    virtual Status tryReading(const QString& path);

private:
    const std::shared_ptr<Client> client_;
};

} // namespace korvane
