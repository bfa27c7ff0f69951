#pragma once

#include "foundation/Result.h"
#include "remote/ssh/RemoteEntry.h"

#include <QByteArray>

#include <libssh/libssh.h>
#include <libssh/sftp.h>
#include <optional>
#include <vector>

namespace korvane {

/// The files of the server, over a channel of the session. Lives on the thread that owns the session; every
/// call waits for the server's answer, and needs the session to be in blocking mode.
class NMSFTP {
public:
    /// Not connected yet.
    explicit NMSFTP(ssh_session session) : session_(session) {}
    ~NMSFTP();
    NMSFTP(const NMSFTP&) = delete;
    NMSFTP& operator=(const NMSFTP&) = delete;

    bool isConnected() const { return sftp_ != nullptr; }
    Status connect();

    bool directoryExistsAtPath(const QByteArray& path);
    Result<RemoteFileInfo> infoForFileAtPath(const QByteArray& path);

    /// Where a symbolic link leads to in the end; nothing for what is none.
    Result<std::optional<QByteArray>> linkTarget(const QByteArray& path);
    /// Opens the file and closes it again. Only a regular one can be read.
    Status tryReading(const QByteArray& path);

    /// A directory that is being read.
    class Listing {
    public:
        explicit Listing(QByteArray path) : path_(std::move(path)) {}
        ~Listing();
        Listing(const Listing&) = delete;
        Listing& operator=(const Listing&) = delete;

        /// Reads some more of it. True when it is complete.
        Result<bool> readSome(NMSFTP& files);
        std::vector<RemoteEntry> takeEntries() { return std::move(entries_); }

    private:
        void add(NMSFTP& files, const sftp_attributes_struct& attributes);

        const QByteArray path_;
        sftp_dir directory_ = nullptr;
        std::vector<RemoteEntry> entries_;
    };

private:
    Error lastError(const QByteArray& path) const;

    const ssh_session session_;
    sftp_session sftp_ = nullptr;
};

} // namespace korvane
