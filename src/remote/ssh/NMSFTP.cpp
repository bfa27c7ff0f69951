#include "remote/ssh/NMSFTP.h"

#include "remote/ssh/SshError.h"

#include <QFile>

#include <chrono>
#include <fcntl.h>
#include <memory>

namespace korvane {
namespace {

struct FreeAttributes {
    void operator()(sftp_attributes attributes) const { sftp_attributes_free(attributes); }
};
using Attributes = std::unique_ptr<sftp_attributes_struct, FreeAttributes>;

/// So many entries at a time, and no longer: commands have their turn in between, and the server shows that
/// it answers.
constexpr int entriesPerTurn = 100;
constexpr auto longestTurn = std::chrono::milliseconds(100);

QString faultText(int code) {
    switch (code) {
    case SSH_FX_NO_SUCH_FILE:
    case SSH_FX_NO_SUCH_PATH:
        return QStringLiteral("it does not exist");
    case SSH_FX_PERMISSION_DENIED:
        return QStringLiteral("permission denied");
    case SSH_FX_NO_CONNECTION:
    case SSH_FX_CONNECTION_LOST:
        return QStringLiteral("the connection was lost");
    default:
        return QStringLiteral("the server refuses (%1)").arg(code);
    }
}

bool isMissing(int code) {
    return code == SSH_FX_NO_SUCH_FILE || code == SSH_FX_NO_SUCH_PATH;
}

QDateTime fromSeconds(std::uint32_t seconds) {
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
}

QString withoutSlash(QString name) {
    if (name.size() > 1 && name.endsWith(u'/'))
        name.chop(1);
    return name;
}

} // namespace

NMSFTP::~NMSFTP() {
    if (sftp_)
        sftp_free(sftp_);
}

Status NMSFTP::connect() {
    sftp_ = sftp_new(session_);
    if (sftp_ && sftp_init(sftp_) == SSH_OK)
        return success();
    const Error error = lastSshError(session_, SshErrorCode::Failed,
                                     QStringLiteral("The server gives no access to its files."));
    if (sftp_)
        sftp_free(sftp_);
    sftp_ = nullptr;
    return error;
}

bool NMSFTP::directoryExistsAtPath(const QByteArray& path) {
    const Attributes found(sftp_stat(sftp_, path.constData()));
    return found && found->type == SSH_FILEXFER_TYPE_DIRECTORY;
}

Result<RemoteFileInfo> NMSFTP::infoForFileAtPath(const QByteArray& path) {
    const Attributes found(sftp_stat(sftp_, path.constData()));
    if (!found)
        return lastError(path);
    RemoteFileInfo info;
    info.filename = QString::fromUtf8(path.mid(path.lastIndexOf('/') + 1));
    info.lastAccess = fromSeconds(found->atime);
    info.modificationDate = fromSeconds(found->mtime);
    info.fileSize = found->size;
    return info;
}

Result<std::optional<QByteArray>> NMSFTP::linkTarget(const QByteArray& path) {
    const Attributes found(sftp_lstat(sftp_, path.constData()));
    if (!found)
        return lastError(path);
    if (found->type != SSH_FILEXFER_TYPE_SYMLINK)
        return std::optional<QByteArray>();
    char* const target = sftp_canonicalize_path(sftp_, path.constData());
    if (!target)
        return lastError(path);
    std::optional<QByteArray> leadsTo = QByteArray(target);
    ssh_string_free_char(target);
    return leadsTo;
}

Status NMSFTP::tryReading(const QByteArray& path) {
    const Attributes found(sftp_stat(sftp_, path.constData()));
    if (!found)
        return lastError(path);
    // Others may keep the server waiting.
    if (found->type != SSH_FILEXFER_TYPE_REGULAR)
        return sshError(
            SshErrorCode::CannotRead,
            QStringLiteral("\"%1\" cannot be read: it is no regular file.").arg(QString::fromUtf8(path)));
    const sftp_file file = sftp_open(sftp_, path.constData(), O_RDONLY, 0);
    if (!file)
        return lastError(path);
    sftp_close(file);
    return success();
}

Error NMSFTP::lastError(const QByteArray& path) const {
    if (!ssh_is_connected(session_))
        return lastSshError(session_, SshErrorCode::NotConnected, QStringLiteral("The connection was lost."));
    const int code = sftp_get_error(sftp_);
    return sshError(
        isMissing(code) ? SshErrorCode::NoSuchFile : SshErrorCode::CannotRead,
        QStringLiteral("\"%1\" cannot be read: %2.").arg(QString::fromUtf8(path), faultText(code)));
}

NMSFTP::Listing::~Listing() {
    if (directory_)
        sftp_closedir(directory_);
}

Result<bool> NMSFTP::Listing::readSome(NMSFTP& files) {
    if (!directory_) {
        const Attributes found(sftp_stat(files.sftp_, path_.constData()));
        if (!found) {
            const Error error = files.lastError(path_);
            if (isSshError(error, SshErrorCode::NoSuchFile))
                return true;
            return error;
        }
        if (found->type != SSH_FILEXFER_TYPE_DIRECTORY)
            return true;
        directory_ = sftp_opendir(files.sftp_, path_.constData());
        if (!directory_)
            return files.lastError(path_);
    }
    const auto begin = std::chrono::steady_clock::now();
    for (int count = 0; count < entriesPerTurn && std::chrono::steady_clock::now() - begin < longestTurn;
         ++count) {
        const Attributes entry(sftp_readdir(files.sftp_, directory_));
        if (entry)
            add(files, *entry);
        else if (sftp_dir_eof(directory_))
            return true;
        else
            return files.lastError(path_);
    }
    return false;
}

void NMSFTP::Listing::add(NMSFTP& files, const sftp_attributes_struct& attributes) {
    const QByteArray name = attributes.name;
    if (name == "." || name == "..")
        return;
    RemoteEntry entry;
    entry.filename = withoutSlash(QString::fromUtf8(name));
    entry.isSymLink = attributes.type == SSH_FILEXFER_TYPE_SYMLINK;
    entry.isDirectory = entry.isSymLink ? files.directoryExistsAtPath(path_ + '/' + name)
                                        : attributes.type == SSH_FILEXFER_TYPE_DIRECTORY;
    entries_.push_back(std::move(entry));
}

} // namespace korvane
