#include "remote/SFTPClient.h"

#include "remote/Client.h"
#include "remote/ssh/NMSSHSession.h"
#include "remote/ssh/SshError.h"

namespace korvane {
SFTPClient::SFTPClient(std::shared_ptr<Client> client) : client_(std::move(client)) {}

SFTPClient::~SFTPClient() = default;

bool SFTPClient::directoryExistsAtPath(const QString& path) {
    const auto session = client_->session();
    return session && session->directoryExistsAtPath(path.toUtf8());
}

Result<std::vector<SFTPClient::Entry>> SFTPClient::contentsOfDirectoryAtPath(const QString& path) {
    const auto session = client_->session();
    if (!session)
        return notConnected();
    return session->contentsOfDirectoryAtPath(path.toUtf8());
}

Result<SFTPClient::FileInfo> SFTPClient::infoForFileAtPath(const QString& path) {
    const auto session = client_->session();
    if (!session)
        return notConnected();
    return session->infoForFileAtPath(path.toUtf8());
}

Result<std::optional<QString>> SFTPClient::linkTarget(const QString& path) {
    const auto session = client_->session();
    if (!session)
        return notConnected();
    const Result<std::optional<QByteArray>> target = session->linkTarget(path.toUtf8());
    if (!target)
        return target.error();
    return target.value() ? std::optional(QString::fromUtf8(*target.value())) : std::nullopt;
}

Status SFTPClient::tryReading(const QString& path) {
    const auto session = client_->session();
    return session ? session->tryReading(path.toUtf8()) : Status(notConnected());
}

} // namespace korvane
