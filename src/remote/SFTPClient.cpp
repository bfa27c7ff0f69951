#include "remote/SFTPClient.h"

#include "remote/Client.h"
#include "remote/NMSSHSession.h"
#include "remote/SshError.h"

namespace korvane {
namespace {

Error notConnected() {
    return sshError(SshErrorCode::NotConnected, QStringLiteral("There is no connection to the server."));
}

} // namespace

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

} // namespace korvane
