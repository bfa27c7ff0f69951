#pragma once

#include "foundation/notices/Alerts.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "support/SshServer.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>

namespace korvane::bench {

class PrintedAlerts : public AlertPresenter {
    void present(const Alert& alert, WindowId, std::function<void(int)>) override {
        std::fprintf(stderr, "%s %s\n", qUtf8Printable(alert.message), qUtf8Printable(alert.informativeText));
    }
};

/// A host for logging in to the server by key. `port`: of the server, or of a link to it.
inline std::shared_ptr<RemoteHost> hostOf(const test::SshServer& server, const QString& key,
                                          std::uint16_t port) {
    auto host = std::make_shared<RemoteHost>(QString::fromLatin1(test::SshServer::host), port, server.user());
    const auto login = std::make_shared<PublicKeyAuthnType>();
    login->privateKeyFilePath = key;
    login->publicKeyFilePath = key + QStringLiteral(".pub");
    host->setAuthnType(login);
    return host;
}

} // namespace korvane::bench
