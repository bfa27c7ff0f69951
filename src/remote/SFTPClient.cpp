#include "remote/SFTPClient.h"

#include "remote/Client.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/ssh/NMSSHSession.h"
#include "remote/ssh/SshError.h"

#include <QCoreApplication>

namespace korvane {
SFTPClient::SFTPClient(std::shared_ptr<Client> client) : client_(std::move(client)) {}

SFTPClient::~SFTPClient() = default;

bool SFTPClient::isConnected() const {
    return client_->isConnected();
}

Status SFTPClient::connect(LoginAsked asked) {
    if (client_->isConnected())
        return success();
    const auto noConnection = [this](const QString& reason) {
        const QString text = QCoreApplication::translate("SFTPClient", "There is no connection with %1.")
                                 .arg(client_->host()->connectionString());
        return sshError(SshErrorCode::NotConnected, reason.isEmpty() ? text : text + u' ' + reason);
    };
    if (asked == LoginAsked::ByProgram && client_->wasRefused())
        return noConnection(QCoreApplication::translate("SFTPClient", "The login was refused."));
    const Result<Client::Connection> login = client_->logIn(asked);
    if (!login)
        return noConnection(login.error().userText);
    return login.value().isAuthorised ? success() : Status(noConnection(client_->fault()));
}

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

Result<std::vector<SFTPClient::LinkTarget>> SFTPClient::followLinks(const std::vector<QString>& paths) {
    const auto session = client_->session();
    if (!session)
        return notConnected();
    std::vector<QByteArray> encoded;
    encoded.reserve(paths.size());
    for (const QString& path : paths)
        encoded.push_back(path.toUtf8());
    return session->followLinks(encoded);
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
